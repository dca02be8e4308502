#include "ingest/reading/message_preparer.h"

#include <string_view>
#include <utility>

#include "archive/mboxrd_form.h"
#include "ingest/reading/mail_marks.h"

namespace keldane {
namespace {

/// A mark of UTF-8 at the beginning of the file does not count.
bool beginsWithSeparator(std::string_view bytes) {
  constexpr std::string_view kBom = "\xEF\xBB\xBF";
  if (bytes.starts_with(kBom)) bytes.remove_prefix(kBom.size());
  return bytes.starts_with("From ");
}

}  // namespace

std::size_t PreparedMessage::sizeBytes() const {
  std::size_t bytes = sizeof *this;
  for (const std::string* text :
       {&message.msgFrom, &message.msgTo, &message.msgSubject, &message.msgBody,
        &message.msgOriginal, &message.msgHeadings, &message.msgAttachText}) {
    bytes += text->size();
  }
  for (const MessagePart& part : message.msgParts) bytes += sizeof part + part.data.size();
  if (message.origin.exactBytes) bytes += message.origin.exactBytes->size();
  return bytes;
}

MessageSource makeMessageSource(std::string bytes, mime::SourceEncoding encoding,
                                const std::string& path, std::optional<std::uint64_t> offsetBytes) {
  MessageSource source;
  source.origin = takeText(bytes, encoding);
  source.origin.path = path;
  source.origin.offsetBytes = offsetBytes;
  source.text = std::move(bytes);
  return source;
}

MessagePreparer::MessagePreparer(Context context)
    : plan_(context.plan),
      content_({.message = message_,
                .plan = context.plan,
                .environment = context.environment,
                .partial = partial,
                .mostUnits = context.mostUnits,
                .tooLarge = [this] { prepared_->isTooLarge = true; },
                .dated = [this] { prepared_->isDated = true; }}) {}

PreparedMessage MessagePreparer::prepare(MessageSource source, bool hasEnvelopeLine) {
  PreparedMessage prepared;
  try {
    fill(std::move(source), hasEnvelopeLine, prepared);
  } catch (...) {
    prepared.thrown = std::current_exception();
  }
  return prepared;
}

PreparedMessage MessagePreparer::preparePiece(MessagePiece piece, bool isFirst,
                                              const std::string& path,
                                              std::optional<mime::SourceEncoding> encoding) {
  PreparedMessage prepared;
  try {
    // A file that is no mbox after all begins with its message.
    const bool isOurs = restoreMboxrd(piece.bytes, piece.isLast);
    if (!isOurs && (!isFirst || beginsWithSeparator(piece.bytes))) {
      deleteFirstLine(piece.bytes);
      if (plan_.leavesOutDeleted && isMarkedDeletedInMbox(piece.bytes)) {
        prepared.refusal = {LedgerOutcome::markedDeleted, std::string(kMarkedDeleted)};
        return prepared;
      }
    }
    // A file of ours holds what lay in many.
    if (isOurs || !encoding) encoding = encodingOf(piece.bytes);
    MessageSource source =
        makeMessageSource(std::move(piece.bytes), *encoding, path, piece.offsetBytes);
    while (source.text.ends_with('\0')) source.text.pop_back();
    fill(std::move(source), false, prepared);
  } catch (...) {
    prepared.thrown = std::current_exception();
  }
  return prepared;
}

void MessagePreparer::fill(MessageSource source, bool hasEnvelopeLine, PreparedMessage& prepared) {
  message_ = {};
  message_.msgOriginal = std::move(source.text);
  message_.origin = std::move(source.origin);
  prepared_ = &prepared;
  prepared.refusal = content_.fill({}, hasEnvelopeLine);
  content_.releaseTree();
  prepared.message = std::move(message_);
}

}  // namespace keldane
