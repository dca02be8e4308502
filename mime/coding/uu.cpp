#include "mime/coding/uu.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {
namespace {

/// The line at `at` without its end; moves `at` behind the end.
std::string_view takeLine(std::string_view text, std::size_t& at) {
  const std::size_t feed = text.find('\n', at);
  std::string_view line = text.substr(at, feed == std::string_view::npos ? feed : feed - at);
  at = feed == std::string_view::npos ? text.size() : feed + 1;
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

constexpr int sextet(char c) { return (c - ' ') & 63; }

void decodeLine(std::string_view line, DataBuffer& out) {
  if (line.empty()) return;
  const auto length = static_cast<std::size_t>(sextet(line.front()));
  line.remove_prefix(1);
  std::uint8_t bytes[66];
  std::size_t size = 0;
  for (std::size_t at = 0; size < length && at + 2 <= line.size(); at += 4) {
    // Blanks at the end of a line may have been cut on the way; they stand for zero.
    const auto digit = [line, at](std::size_t i) {
      return at + i < line.size() ? sextet(line[at + i]) : 0;
    };
    const int group = (digit(0) << 18) | (digit(1) << 12) | (digit(2) << 6) | digit(3);
    bytes[size++] = static_cast<std::uint8_t>(group >> 16);
    bytes[size++] = static_cast<std::uint8_t>(group >> 8);
    bytes[size++] = static_cast<std::uint8_t>(group);
  }
  out.append(bytes, size < length ? size : length);
}

/// Whether a line begins with a file's mode, as no sentence does that begins with "begin".
bool showsMode(std::string_view behindBegin) {
  std::size_t digits = 0;
  while (digits < behindBegin.size() && digits <= 6 && behindBegin[digits] >= '0' &&
         behindBegin[digits] <= '7') {
    ++digits;
  }
  return digits >= 3 && digits <= 6;
}

}  // namespace

std::size_t Uu::findBegin(std::string_view text) {
  for (std::size_t at = findBytes(text, "begin "); at != std::string_view::npos;
       at = findBytes(text, "begin ", at + 1)) {
    const bool beginsLine = at == 0 || text[at - 1] == '\n' || text[at - 1] == '\r';
    if (beginsLine && showsMode(text.substr(at + 6))) return at;
  }
  return std::string_view::npos;
}

std::size_t Uu::sizeOfFile(std::string_view text) {
  std::size_t at = 0;
  takeLine(text, at);
  while (at < text.size()) {
    const std::string_view line = takeLine(text, at);
    if (trimmed(line) == "end") return at;
    if (line.empty()) continue;
    const bool isInRange = line.front() >= ' ' && line.front() <= '`';
    // A line holds four characters for three bytes, or fewer where blanks at its end were cut.
    const auto length = static_cast<std::size_t>(sextet(line.front()));
    if (!isInRange || line.size() > 3 + (length + 2) / 3 * 4) return 0;
  }
  return 0;
}

std::size_t Uu::uu_decode2(std::string_view text, DataBuffer& out, StringBuffer& name) {
  std::size_t at = findBegin(text);
  if (at == std::string_view::npos) return at;
  std::string_view first = takeLine(text, at).substr(6);
  const std::size_t blank = first.find(' ');
  name.setString(blank == std::string_view::npos ? std::string_view()
                                                 : trimmed(first.substr(blank + 1)));
  while (at < text.size()) {
    const std::string_view line = takeLine(text, at);
    if (trimmed(line) == "end") break;
    decodeLine(line, out);
  }
  return at;
}

}  // namespace keldane::mime
