#include "output/text_encodings.h"

#include <algorithm>
#include <cstdint>

#include <unicode/utf8.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kEscapeDigits = 4;

/// Calls `take` with every UTF-16 unit of a text.
template <typename Take>
void forEachUnit(std::string_view text, const Take& take) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int64_t>(text.size());
  for (std::int64_t at = 0; at < length;) {
    UChar32 character = 0;
    U8_NEXT_OR_FFFD(bytes, at, length, character);
    if (character > 0xFFFF) {
      take(static_cast<char16_t>(0xD7C0 + (character >> 10)));
      take(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
    } else {
      take(static_cast<char16_t>(character));
    }
  }
}

bool isAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

bool isHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isEscape(std::string_view text) {
  return text.size() >= 2 + kEscapeDigits && text.starts_with("\\u") &&
         std::all_of(text.begin() + 2, text.begin() + 2 + kEscapeDigits, isHex);
}

void appendEscape(std::string& text, char16_t unit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[(unit >> shift) & 15];
}

std::string utf16Of(std::string_view text, bool hasMark) {
  std::string valid;
  if (!isValidUtf8(text)) text = valid = toUtf8(text);
  // No character has more units than bytes.
  std::string bytes(2 + 2 * text.size(), '\0');
  char* end = bytes.data();
  const auto put = [&end](char16_t unit) {
    end[0] = static_cast<char>(unit & 0xFF);
    end[1] = static_cast<char>(unit >> 8);
    end += 2;
  };
  if (hasMark) put(0xFEFF);
  while (!text.empty()) {
    std::size_t run = 0;
    for (; run < text.size() && (text[run] & 0x80) == 0; ++run) {
      put(static_cast<unsigned char>(text[run]));
    }
    text.remove_prefix(run);
    for (run = 0; run < text.size() && (text[run] & 0x80) != 0;) ++run;
    forEachUnit(text.substr(0, run), put);
    text.remove_prefix(run);
  }
  bytes.resize(static_cast<std::size_t>(end - bytes.data()));
  return bytes;
}

}  // namespace

std::string utf16(std::string_view text) { return utf16Of(text, false); }
std::string utf16WithMark(std::string_view text) { return utf16Of(text, true); }

void inPieces(std::string_view text, const std::function<void(std::string_view piece)>& take) {
  while (!text.empty()) {
    std::size_t size = std::min(text.size(), kPieceBytes);
    while (size > 1 && size < text.size() && (text[size] & 0xC0) == 0x80) --size;
    take(text.substr(0, size));
    text.remove_prefix(size);
  }
}

std::string nonLossyAscii(std::string_view text) {
  const bool ascii = isAscii(text);
  if (ascii && text.find("\\u") == std::string_view::npos) return std::string(text);
  std::string escaped;
  const std::string valid = ascii ? std::string(text) : toUtf8(text);
  std::string_view rest = valid;
  escaped.reserve(rest.size() + rest.size() / 8);
  while (!rest.empty()) {
    std::size_t length = 1;
    if (isEscape(rest)) {
      appendEscape(escaped, U'\\');
    } else if ((rest.front() & 0x80) == 0) {
      escaped += rest.front();
    } else {
      while (length < rest.size() && (rest[length] & 0xC0) == 0x80) ++length;
      forEachUnit(rest.substr(0, length), [&](char16_t unit) { appendEscape(escaped, unit); });
    }
    rest.remove_prefix(length);
  }
  return escaped;
}

std::string plainAscii(std::string_view text) {
  if (isAscii(text)) return std::string(text);
  std::string plain;
  for (const char c : toUtf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) plain += c;
    if (byte >= 0xC0) plain += '?';
  }
  return plain;
}

}  // namespace keldane
