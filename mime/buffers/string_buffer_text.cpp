// The operations of StringBuffer that look at its text: tests, trimming, rewriting in place.
#include <algorithm>
#include <cstring>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

namespace {

/// A text argument ends at its first NUL, like the buffer that it is compared with.
std::string_view upToNul(std::string_view text) {
  if (text.empty()) return text;
  const void* nul = std::memchr(text.data(), '\0', text.size());
  return nul ? text.substr(0, static_cast<std::size_t>(static_cast<const char*>(nul) - text.data()))
             : text;
}

bool matchesPattern(std::string_view text, std::string_view pattern, bool caseSensitive) {
  const auto same = [caseSensitive](char a, char b) {
    return caseSensitive ? a == b : asciiLower(a) == asciiLower(b);
  };
  std::size_t t = 0;
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && same(text[t], pattern[p])) {
      ++t;
      ++p;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

}  // namespace

bool StringBuffer::is7bit(std::size_t n) const {
  return isAllAscii(data_, n == 0 || n > length_ ? length_ : n);
}

bool StringBuffer::containsChar(char c) const {
  return c != '\0' && std::strchr(data_, c) != nullptr;
}

bool StringBuffer::containsSubstring(std::string_view text) const {
  text = upToNul(text);
  return text.empty() || containsBytes(upToNul(view()), text);
}

bool StringBuffer::containsSubstringNoCase(std::string_view text) const {
  text = upToNul(text);
  return text.empty() || containsBytesNoCase(upToNul(view()), text);
}

bool StringBuffer::beginsWith(std::string_view text) const {
  text = upToNul(text);
  return text.size() <= length_ && std::memcmp(data_, text.data(), text.size()) == 0;
}

bool StringBuffer::beginsWithIgnoreCase(std::string_view text) const {
  return beginsWithIgnoreCaseN(text.data(), text.size());
}

bool StringBuffer::beginsWithIgnoreCaseN(const char* text, std::size_t n) const {
  if (n == 0) return true;
  const std::string_view wanted = upToNul({text, n});
  return wanted.size() <= length_ && equalBytesNoCase(data_, wanted.data(), wanted.size());
}

bool StringBuffer::endsWith(std::string_view text) const {
  text = upToNul(text);
  const std::string_view mine = upToNul(view());
  return text.size() <= mine.size() && mine.substr(mine.size() - text.size()) == text;
}

bool StringBuffer::endsWithIgnoreCase(std::string_view text) const {
  text = upToNul(text);
  const std::string_view mine = upToNul(view());
  return text.size() <= mine.size() && equalsNoCase(mine.substr(mine.size() - text.size()), text);
}

bool StringBuffer::equals(std::string_view text) const {
  text = upToNul(text);
  return text.size() <= length_ && data_[text.size()] == '\0' &&
         std::memcmp(data_, text.data(), text.size()) == 0;
}

bool StringBuffer::equalsIgnoreCase(std::string_view text) const {
  text = upToNul(text);
  return text.size() <= length_ && data_[text.size()] == '\0' &&
         equalBytesNoCase(data_, text.data(), text.size());
}

bool StringBuffer::equalsIgnoreCase2(const char* text, std::size_t n) const {
  return n == length_ && equalBytesNoCase(data_, text, n);
}

int StringBuffer::countCharOccurances(char c) const {
  const std::string_view mine = upToNul(view());
  return static_cast<int>(std::count(mine.begin(), mine.end(), c));
}

bool StringBuffer::matches(std::string_view pattern, bool caseSensitive) const {
  return matchesPattern(upToNul(view()), upToNul(pattern), caseSensitive);
}

int StringBuffer::intValue() const {
  constexpr long long kLimit = 2147483647;
  const char* p = data_;
  while (isEngineSpace(*p)) ++p;
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  long long value = 0;
  for (; *p >= '0' && *p <= '9'; ++p) value = std::min(value * 10 + (*p - '0'), kLimit);
  return static_cast<int>(negative ? -value : value);
}

void StringBuffer::countImprobableAnsiChars(int& n8bit, int& nImprobable) const {
  static constexpr auto kImprobable = [] {
    struct Flags {
      bool of[256] = {};
    } flags;
    const auto mark = [&flags](int first, int last) {
      for (int c = first; c <= last; ++c) flags.of[c] = true;
    };
    mark(0x81, 0x81);
    mark(0x83, 0x83);
    mark(0x85, 0x8C);
    mark(0xA4, 0xA8);
    mark(0xAA, 0xAD);
    mark(0xAF, 0xBF);
    return flags;
  }();
  n8bit = 0;
  nImprobable = 0;
  for (std::uint32_t i = 0; i < length_; ++i) {
    const auto c = static_cast<unsigned char>(data_[i]);
    n8bit += c >> 7;
    nImprobable += kImprobable.of[c];
  }
}

void StringBuffer::trimRight2() {
  std::size_t size = length_;
  while (size > 0 && isEngineSpace(data_[size - 1])) --size;
  rollback(size);
}

void StringBuffer::trim2() {
  trimRight2();
  std::size_t first = 0;
  while (first < length_ && isEngineSpace(data_[first])) ++first;
  removeFromStart(first);
}

void StringBuffer::trimInsideSpaces() {
  char* to = data_;
  bool afterSpace = false;
  for (std::uint32_t i = 0; i < length_; ++i) {
    const char c = isEngineSpace(data_[i]) ? ' ' : data_[i];
    if (c == ' ' && afterSpace) continue;
    afterSpace = c == ' ';
    *to++ = c;
  }
  rollback(static_cast<std::size_t>(to - data_));
}

void StringBuffer::toLowerCase() { std::transform(data_, data_ + length_, data_, asciiLower); }

void StringBuffer::toUpperCase() { std::transform(data_, data_ + length_, data_, asciiUpper); }

void StringBuffer::removeCharOccurances(char c) {
  if (length_ == 0 || std::memchr(data_, c, length_) == nullptr) return;
  char* end = std::remove(data_, data_ + length_, c);
  rollback(static_cast<std::size_t>(end - data_));
}

void StringBuffer::replaceCharAnsi(char from, char to) {
  std::replace(data_, data_ + length_, from, to);
  finishAppend(0);
}

void StringBuffer::replaceChar5(std::string_view set, char to) {
  set = upToNul(set).substr(0, 5);
  if (set.empty()) return;
  for (std::uint32_t i = 0; i < length_; ++i) {
    if (set.find(data_[i]) != std::string_view::npos) data_[i] = to;
  }
  finishAppend(0);
}

void StringBuffer::toCRLF() {
  std::size_t bare = 0;
  for (std::uint32_t i = 0; i < length_; ++i) {
    if (data_[i] == '\n') {
      ++bare;
    } else if (data_[i] == '\r') {
      if (data_[i + 1] == '\n') {
        ++i;
      } else {
        ++bare;
      }
    }
  }
  if (bare == 0 || !expectNumBytes(bare)) return;
  // From the back, so that one block is enough: what is written never catches up with what is read.
  std::size_t from = length_;
  std::size_t to = length_ + bare;
  length_ = static_cast<std::uint32_t>(to);
  data_[to] = '\0';
  while (from < to) {
    const char c = data_[--from];
    if (c != '\n' && c != '\r') {
      data_[--to] = c;
      continue;
    }
    if (c == '\n' && from > 0 && data_[from - 1] == '\r') --from;
    data_[--to] = '\n';
    data_[--to] = '\r';
  }
}

void StringBuffer::toLF() {
  const std::size_t first = findBytes(view(), "\r\n");
  if (first == std::string_view::npos) return;
  char* to = data_ + first;
  for (std::size_t i = first; i < length_; ++i) {
    if (data_[i] == '\r' && data_[i + 1] == '\n') continue;
    *to++ = data_[i];
  }
  rollback(static_cast<std::size_t>(to - data_));
}

}  // namespace keldane::mime
