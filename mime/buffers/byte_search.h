#pragma once

#include <cstddef>
#include <string_view>

/// Searches and checks over bytes. All of them take lengths, so that NUL bytes do not stop them,
/// and none allocates.
namespace keldane::mime {

/// First place of `needle` in `haystack`; null when there is none or a length is 0.
[[nodiscard]] const char* tn_binstrstr(const char* haystack, std::size_t n, const char* needle,
                                       std::size_t m);
/// The same as an offset; npos when there is none. An empty needle is not found.
[[nodiscard]] std::size_t findBytes(std::string_view haystack, std::string_view needle,
                                    std::size_t from = 0);
/// ASCII case is ignored.
[[nodiscard]] std::size_t findBytesNoCase(std::string_view haystack, std::string_view needle,
                                          std::size_t from = 0);
[[nodiscard]] inline bool containsBytes(std::string_view haystack, std::string_view needle) {
  return findBytes(haystack, needle) != std::string_view::npos;
}
[[nodiscard]] inline bool containsBytesNoCase(std::string_view haystack, std::string_view needle) {
  return findBytesNoCase(haystack, needle) != std::string_view::npos;
}

[[nodiscard]] constexpr char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
[[nodiscard]] constexpr char asciiUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}
/// TAB, LF, CR and SPACE.
[[nodiscard]] constexpr bool isEngineSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
[[nodiscard]] bool equalBytesNoCase(const char* a, const char* b, std::size_t n);
[[nodiscard]] inline bool equalsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && equalBytesNoCase(a.data(), b.data(), a.size());
}
[[nodiscard]] inline bool beginsWithNoCase(std::string_view text, std::string_view beginning) {
  return text.size() >= beginning.size() &&
         equalBytesNoCase(text.data(), beginning.data(), beginning.size());
}
[[nodiscard]] inline bool endsWithNoCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         equalBytesNoCase(text.data() + (text.size() - end.size()), end.data(), end.size());
}
/// Without TAB, LF, CR and SPACE at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// No byte of 0x80 or above.
[[nodiscard]] bool isAllAscii(const char* bytes, std::size_t n);
[[nodiscard]] inline bool isAllAscii(std::string_view bytes) {
  return isAllAscii(bytes.data(), bytes.size());
}
/// Length of the run of bytes below 0x80 at the beginning.
[[nodiscard]] std::size_t asciiRunLength(const char* bytes, std::size_t n);

/// Well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF, no cut sequence.
[[nodiscard]] bool isValidUtf8(const char* bytes, std::size_t n);
[[nodiscard]] inline bool isValidUtf8(std::string_view bytes) {
  return isValidUtf8(bytes.data(), bytes.size());
}
/// The same over the first `limit` bytes; a sequence that only the limit cuts is good.
[[nodiscard]] bool isValidUtf8Limited(std::string_view bytes, std::size_t limit);
/// Length of one well-formed sequence at the beginning; 0 when there is none.
[[nodiscard]] std::size_t validUtf8SequenceLength(const char* bytes, std::size_t n);
/// A byte C2 or C3 followed by one with the top bit: how Latin letters look in UTF-8.
[[nodiscard]] bool hasLatinUtf8Shape(std::string_view bytes);
/// ESC $ B or ESC ( B occurs.
[[nodiscard]] bool hasIso2022JpEscape(std::string_view bytes);

}  // namespace keldane::mime
