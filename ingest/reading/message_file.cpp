#include "ingest/reading/message_file.h"

#include <algorithm>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";

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

std::vector<MessagePiece> cutAtSeparators(std::string_view bytes) {
  std::vector<MessagePiece> pieces;
  std::size_t offset = 0;  // of the piece's separator line
  std::size_t begin = 0;   // of what belongs to the piece
  const auto add = [&](std::size_t end) {
    pieces.push_back({std::string(bytes.substr(begin, end - begin)), offset});
  };
  for (std::size_t found = bytes.find(kFrom, 1); found != std::string_view::npos;
       found = bytes.find(kFrom, found + 1)) {
    if (!isLineEnd(bytes[found - 1])) continue;
    const bool isPair = found >= begin + 2 && bytes[found - 1] == '\n' && bytes[found - 2] == '\r';
    add(std::max(begin, found - (isPair ? 2 : 1)));
    offset = found;
    begin = found + kFrom.size();
  }
  add(bytes.size());
  return pieces;
}

void deleteFirstLine(std::string& bytes) {
  const std::size_t end = bytes.find_first_of("\r\n");
  const bool isPair = end != std::string::npos && bytes.compare(end, 2, "\r\n") == 0;
  bytes.erase(0, end == std::string::npos ? end : end + (isPair ? 2 : 1));
}

}  // namespace keldane
