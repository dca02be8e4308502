#include "ingest/reading/message_file.h"

#include <algorithm>
#include <iterator>

#include "archive/mboxrd_form.h"
#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

/// One of them stands in the header of every message that can be stored, most often near its top.
constexpr std::string_view kKnownFields[] = {"bcc",
                                             "cc",
                                             "content-type",
                                             "date",
                                             "delivered-to",
                                             "envelope-to",
                                             "from",
                                             "message-id",
                                             "mime-version",
                                             "received",
                                             "reply-to",
                                             "return-path",
                                             "sender",
                                             "status",
                                             "subject",
                                             "to",
                                             "x-gmail-labels",
                                             "x-gm-thrid",
                                             "x-account-key",
                                             "x-mozilla-status",
                                             "x-original-to",
                                             "x-status",
                                             "x-uidl"};

bool isLineEnd(char c) { return c == '\n' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes the first line, whatever ends it, off the text.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find_first_of("\r\n");
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end, text.size()));
  if (!text.empty()) text.remove_prefix(text.starts_with("\r\n") ? 2 : 1);
  return line;
}

/// The next word; empty at the end of the line.
std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(" \t"));
  line.remove_prefix(word.size());
  return word;
}

bool isOneOf(std::string_view names, std::string_view word) {
  return word.size() == 3 && names.find(word) % 3 == 0;
}

/// A sender and behind it "Mon Jan  1 12:00", as all mail programs write it; what follows the time
/// differs, and so does what the sender looks like.
bool hasSenderAndDate(std::string_view line) {
  if (takeWord(line).empty()) return false;
  for (std::string_view word = takeWord(line); !word.empty(); word = takeWord(line)) {
    if (!isOneOf("MonTueWedThuFriSatSun", word)) continue;
    std::string_view rest = line;
    const bool isMonth = isOneOf("JanFebMarAprMayJunJulAugSepOctNovDec", takeWord(rest));
    const std::string_view day = takeWord(rest);
    const std::string_view time = takeWord(rest);
    const std::size_t colon = time.find(':');
    if (isMonth && !day.empty() && day.size() <= 2 && isDigit(day[0]) &&
        colon != std::string_view::npos && colon > 0 && isDigit(time[colon - 1])) {
      return true;
    }
  }
  return false;
}

bool isKnownField(std::string_view name) {
  return std::any_of(std::begin(kKnownFields), std::end(kKnownFields),
                     [name](std::string_view known) { return compareNoCase(name, known) == 0; });
}

/// A header with a field that a message has. `isCut`: it goes on behind the text, and is then one
/// when nothing in the text speaks against it.
bool beginsWithHeader(std::string_view text, bool isCut) {
  bool isFirst = true;
  while (!text.empty()) {
    const std::string_view line = takeLine(text);
    // Some programs leave the line of the server before them.
    if (line.starts_with(">From ")) continue;
    if (!isFirst && (line.starts_with(' ') || line.starts_with('\t'))) continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos && text.empty()) break;
    // The end of the header, or of what could be one.
    if (colon == std::string_view::npos || colon == 0) return false;
    std::string_view name = line.substr(0, colon);
    while (name.ends_with(' ') || name.ends_with('\t')) name.remove_suffix(1);
    if (name.find_first_of(" \t") != std::string_view::npos) return false;
    if (isKnownField(name)) return true;
    isFirst = false;
  }
  return isCut && !isFirst;
}

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

bool isSeparator(std::string_view ahead, bool isBehindBlankLine) {
  const bool isCut = ahead.size() >= kSeparatorAheadBytes;
  const std::string_view line = takeLine(ahead);
  return (isBehindBlankLine && (hasSenderAndDate(line) || isMboxrdSeparator(line))) ||
         beginsWithHeader(ahead, isCut);
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
    const std::string_view before = bytes.substr(0, found - (isPair ? 2 : 1));
    const bool isBehindBlankLine = before.empty() || isLineEnd(before.back());
    if (!isSeparator(bytes.substr(found + kFrom.size(), kSeparatorAheadBytes), isBehindBlankLine))
      continue;
    add(std::max(begin, found - (isPair ? 2 : 1)));
    offset = found;
    begin = found + kFrom.size();
  }
  add(bytes.size());
  pieces.back().isLast = true;
  return pieces;
}

bool isMaildirFile(const std::string& path) {
  const std::size_t nameAt = path.rfind('/');
  if (nameAt == std::string::npos) return false;
  const std::string_view folder = std::string_view(path).substr(0, nameAt);
  if (!folder.ends_with("/cur") && !folder.ends_with("/new")) return false;
  const std::string maildir(folder.substr(0, folder.size() - 3));
  return isDirectory(maildir + "cur") && isDirectory(maildir + "new");
}

bool beginsLikeMail(std::string_view beginning) {
  const bool isCut = beginning.size() >= kSeparatorAheadBytes;
  beginning = beginning.substr(0, kSeparatorAheadBytes);
  if (beginning.starts_with(kUtf8Mark)) beginning.remove_prefix(kUtf8Mark.size());
  beginning.remove_prefix(std::min(beginning.find_first_not_of("\r\n"), beginning.size()));
  return beginning.starts_with(kFrom) || beginsWithHeader(beginning, isCut);
}

void deleteFirstLine(std::string& bytes) {
  const std::size_t end = bytes.find_first_of("\r\n");
  const bool isPair = end != std::string::npos && bytes.compare(end, 2, "\r\n") == 0;
  bytes.erase(0, end == std::string::npos ? end : end + (isPair ? 2 : 1));
}

}  // namespace keldane
