#include "mime/tno_stream.h"

#include <utility>

#include "mime/buffers/stream.h"
#include "mime/buffers/string_buffer.h"
#include "mime/cls_base.h"

namespace keldane::mime {

class TnStream : public TnMultiByteBase {
 public:
  ClsRef<ClsStream> stream{new ClsStream()};
};

TnoStream::TnoStream() : impl_(makeOrNull<TnStream>()) {}
TnoStream::~TnoStream() = default;

void TnoStream::setSourceFile(std::string_view path) {
  if (impl_) impl_->stream->put_SourceFile(path);
}

void TnoStream::setSourceReader(PieceReader reader) {
  if (impl_) impl_->stream->put_SourceReader(std::move(reader));
}

std::optional<std::string> TnoStream::ReadUntilMatch(std::string_view match) {
  std::string out;
  if (!impl_ || !impl_->stream->ReadUntilMatch(match, out)) return std::nullopt;
  return out;
}

bool TnoStream::ReadBytesUntilMatch(std::string_view match, std::uint64_t limitBytes,
                                    std::string& bytes, bool& isTooLong) {
  return impl_ && impl_->stream->ReadBytesUntilMatch(match, limitBytes, bytes, isTooLong);
}

std::string_view TnoStream::peek(std::size_t size) {
  return impl_ ? impl_->stream->peek(size) : std::string_view();
}

std::string TnoStream::failureText() const {
  return impl_ ? impl_->stream->failureText() : "out of memory";
}

bool TnoStream::EndOfStream() const { return impl_ && impl_->stream->get_EndOfStream(); }

void TnoStream::Reset() {
  if (impl_) impl_->stream->Reset();
}

std::uint64_t TnoStream::offsetBytes() const { return impl_ ? impl_->stream->offsetBytes() : 0; }

bool TnoStream::LastMethodSuccess() const {
  return impl_ && impl_->stream->get_LastMethodSuccess();
}

std::string TnoStream::LastErrorText() const {
  return errorTextOf(impl_ ? impl_->stream.get() : nullptr);
}

}  // namespace keldane::mime
