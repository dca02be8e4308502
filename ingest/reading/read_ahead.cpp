#include "ingest/reading/read_ahead.h"

#include <string_view>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "ingest/reading/foreign_file.h"
#include "ingest/reading/packed_file.h"

namespace keldane {
namespace {

/// Without a thread nothing is read ahead, and all goes on as it did.
template <typename Work>
std::thread startThread(Work work) {
  try {
    return std::thread(std::move(work));
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace

// Files of one message.

FilesAhead::FilesAhead(Context context)
    : context_(std::move(context)),
      preparer_(context_.preparer),
      thread_(startThread([this] { readAll(); })) {
  if (!thread_.joinable()) queue_.end();
}

FilesAhead::~FilesAhead() {
  queue_.close();
  if (thread_.joinable()) thread_.join();
}

void FilesAhead::readAll() {
  // A file that memory does not suffice for here is read once more in its turn, which tells of it.
  for (std::size_t i = 0; i < context_.files; ++i) {
    File file;
    try {
      if (const auto candidate = context_.candidate(i)) file = read(*candidate);
    } catch (...) {
      file = {};
    }
    const std::size_t bytes = sizeof file + (file.prepared ? file.prepared->sizeBytes() : 0);
    if (!queue_.put(std::move(file), bytes)) return;
  }
  queue_.end();
}

FilesAhead::File FilesAhead::read(const Candidate& candidate) {
  const std::string& path = candidate.path;
  const Result<FileState> state = stateOf(path);
  const std::int64_t now = context_.preparer.environment.now();
  if (!state || state->sizeBytes > kLargeSourceBytes || secondsUntilRested(*state, now) > 0) {
    return {};
  }
  Result<std::string> bytes = readFile(path);
  const Result<FileState> after = stateOf(path);
  const bool isSound = bytes && after && *after == *state && bytes->size() == state->sizeBytes;
  if (!isSound) return {};
  const std::string_view beginning = std::string_view(*bytes).substr(0, kLookedAtBytes);
  if (foreignKind(beginning, path) || PackedFile::isPacked(beginning)) return {};
  const mime::SourceEncoding encoding = encodingOf(*bytes);
  return {path, *state, candidate.hasEnvelopeLine,
          preparer_.prepare(makeMessageSource(std::move(*bytes), encoding, path, std::nullopt),
                            candidate.hasEnvelopeLine)};
}

std::optional<PreparedMessage> FilesAhead::take(const std::string& path, const FileState& state,
                                                bool hasEnvelopeLine) {
  if (!holds(path, state) || current_.hasEnvelopeLine != hasEnvelopeLine) return std::nullopt;
  return std::exchange(current_.prepared, std::nullopt);
}

// Files of many.

PiecesAhead::PiecesAhead(MboxReader& mbox, std::string path, MessagePreparer::Context context)
    : mbox_(mbox),
      path_(std::move(path)),
      preparer_(context),
      thread_(startThread([this] { readAll(); })) {}

PiecesAhead::~PiecesAhead() {
  queue_.close();
  if (thread_.joinable()) thread_.join();
}

void PiecesAhead::readAll() {
  try {
    while (std::optional<Item> item = read()) {
      const bool isLarge = item->isLarge;
      const std::size_t bytes =
          sizeof *item + item->large.bytes.size() + item->piece.prepared.sizeBytes();
      if (!queue_.put(std::move(*item), bytes)) return;
      item.reset();
      if (isLarge && !queue_.waitUntilAsked()) return;
    }
  } catch (...) {
    thrown_ = std::current_exception();
  }
  queue_.end();
}

/// The next message, prepared unless it is large.
std::optional<PiecesAhead::Item> PiecesAhead::read() {
  std::optional<MessagePiece> piece = mbox_.next();
  if (!piece) return std::nullopt;
  Item item;
  item.piece.offsetBytes = piece->offsetBytes;
  item.piece.isTooLong = piece->isTooLong;
  item.piece.isAtEnd = mbox_.isAtEnd();
  item.isLarge = piece->bytes.size() > kLargeSourceBytes;
  if (item.isLarge) {
    item.large = std::move(*piece);
  } else if (!piece->isTooLong) {
    item.piece.prepared = prepare(std::move(*piece));
  } else {
    isFirst_ = false;
  }
  return item;
}

PreparedMessage PiecesAhead::prepare(MessagePiece piece) {
  return preparer_.preparePiece(std::move(piece), std::exchange(isFirst_, false), path_,
                                std::nullopt);
}

std::optional<PiecesAhead::Piece> PiecesAhead::next() {
  std::optional<Item> item = thread_.joinable() ? queue_.take() : read();
  if (!item) {
    if (thread_.joinable()) thread_.join();
    if (thrown_) std::rethrow_exception(thrown_);
    failure_ = mbox_.failure();
    return std::nullopt;
  }
  if (item->isLarge) item->piece.prepared = prepare(std::move(item->large));
  return std::move(item->piece);
}

}  // namespace keldane
