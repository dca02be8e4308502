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

}  // namespace keldane
