#include "base/shown_text.h"

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kMark = "\xEF\xBF\xBD";  // U+FFFD

/// Whether the three bytes at `at` are one of U+202A to U+202E and U+2066 to U+2069.
bool turnsDirectionAt(std::string_view text, std::size_t at) {
  if (text.size() - at < 3 || text[at] != '\xE2') return false;
  const auto last = static_cast<unsigned char>(text[at + 2]);
  if (text[at + 1] == '\x80') return last >= 0xAA && last <= 0xAE;
  return text[at + 1] == '\x81' && last >= 0xA6 && last <= 0xA9;
}

constexpr std::size_t kLongestName = 200;   // leaves room for an index and an ending before 255
constexpr std::size_t kLongestEnding = 20;  // what is longer behind a dot is no ending of a file
constexpr std::string_view kNoName = "noname";

std::string_view cutToBytes(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80) --bytes;
  return text.substr(0, bytes);
}

std::string shortened(const std::string& name) {
  if (name.size() <= kLongestName) return name;
  const std::size_t dot = name.rfind('.');
  const std::string ending =
      dot != std::string::npos && name.size() - dot <= kLongestEnding ? name.substr(dot) : "";
  return std::string(cutToBytes(name, kLongestName - ending.size())) + ending;
}

}  // namespace

std::string shownLine(std::string_view text) {
  std::string marked;
  for (std::size_t at = text.find('\xE2'); at != std::string_view::npos;) {
    const bool turns = turnsDirectionAt(text, at);
    marked.append(text.substr(0, turns ? at : at + 1));
    if (turns) marked += kMark;
    text.remove_prefix(turns ? at + 3 : at + 1);
    at = text.find('\xE2');
  }
  marked += text;
  return printable(marked);
}

std::string shownText(std::string_view text) {
  std::string shown;
  shown.reserve(text.size() + text.size() / 16);
  while (!text.empty()) {
    const std::size_t end = text.find_first_of("\n\t");
    std::string_view piece = text.substr(0, end);
    if (end != std::string_view::npos && text[end] == '\n' && piece.ends_with('\r')) {
      piece.remove_suffix(1);
    }
    shown += shownLine(piece);
    if (end == std::string_view::npos) break;
    shown += text[end];
    text.remove_prefix(end + 1);
  }
  return shown;
}

std::string safeFileName(std::string_view name) {
  std::string safe = printable(name);
  for (char& c : safe) {
    if (c == '/') c = '_';
  }
  replaceAll(safe, "\xEF\xBF\xBD", "_");  // where a control character stood
  safe = trimWhitespace(safe);
  if (safe.starts_with('.')) safe.front() = '_';
  if (safe.empty()) safe = kNoName;
  return shortened(safe);
}

}  // namespace keldane
