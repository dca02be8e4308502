#include "ingest/message_file.h"

#include <algorithm>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";

std::string toMessageText(std::string bytes) {
  if (!isValidUtf8(bytes)) bytes = latin1ToUtf8(bytes);
  normalizeLineEnds(bytes);
  return bytes;
}

bool isLineEnd(char c) { return c == '\n' || c == '\r'; }

}  // namespace

EmailItem splitEmailItem(std::string_view currentEmailItem) {
  const std::size_t mark = currentEmailItem.find(kItemSeparator);
  EmailItem item{std::string(currentEmailItem.substr(0, mark)), {}};
  if (mark == std::string_view::npos) return item;
  const std::string_view rest = currentEmailItem.substr(mark + kItemSeparator.size());
  item.mailbox = rest.substr(0, rest.find(kItemSeparator));
  removeAll(item.mailbox, "\n");
  return item;
}

Result<std::string> readMessageFile(const std::string& path) {
  Result<std::string> bytes = readFile(path);
  if (!bytes) return bytes;
  return toMessageText(std::move(*bytes));
}

Result<std::vector<MessagePiece>> readSeveralMessages(const std::string& path) {
  Result<std::string> bytes = readFile(path);
  if (!bytes) return Failure{bytes.error()};
  std::vector<MessagePiece> pieces;
  std::size_t offset = 0;  // of the piece's separator line
  std::size_t begin = 0;   // of what belongs to the piece
  // All that separates is ASCII, so the pieces can be cut before they are converted, and their
  // offsets are those of the file. Whether the file is UTF-8 is decided for all of it.
  const bool isUtf8 = isValidUtf8(*bytes);
  const auto add = [&](std::size_t end) {
    std::string text = bytes->substr(begin, end - begin);
    if (!isUtf8) text = latin1ToUtf8(text);
    normalizeLineEnds(text);
    pieces.push_back({std::move(text), offset});
  };
  for (std::size_t found = bytes->find(kFrom, 1); found != std::string::npos;
       found = bytes->find(kFrom, found + 1)) {
    if (!isLineEnd((*bytes)[found - 1])) continue;
    const bool isPair =
        found >= begin + 2 && (*bytes)[found - 1] == '\n' && (*bytes)[found - 2] == '\r';
    add(std::max(begin, found - (isPair ? 2 : 1)));
    offset = found;
    begin = found + kFrom.size();
  }
  add(bytes->size());
  return pieces;
}

void deleteFirstLine(std::string& text) {
  const std::size_t end = text.find('\n');
  text.erase(0, end == std::string::npos ? end : end + 1);
}

}  // namespace keldane
