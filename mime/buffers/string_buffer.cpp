#include "mime/buffers/string_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/psdk.h"

namespace keldane::mime {

namespace {

constexpr std::uint64_t kMaxSize = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kMaxExtend = 500000;
constexpr std::uint32_t kMaxExtendFrom = 1000001;
constexpr std::uint32_t kWorthShrinking = 256;

void wipe(void* p, std::size_t n) {
  volatile unsigned char* bytes = static_cast<unsigned char*>(p);
  while (n-- > 0) *bytes++ = 0;
}

}  // namespace

static_assert(sizeof(void*) != 8 || sizeof(StringBuffer) == 136);

StringBuffer::StringBuffer(const StringBuffer& other) : StringBuffer() { append(other); }

StringBuffer::StringBuffer(StringBuffer&& other) noexcept : StringBuffer() { takeOver(other); }

StringBuffer& StringBuffer::operator=(const StringBuffer& other) {
  if (this != &other) setString(other);
  return *this;
}

StringBuffer& StringBuffer::operator=(StringBuffer&& other) noexcept {
  if (this != &other) takeOver(other);
  return *this;
}

StringBuffer::~StringBuffer() {
  if (heap_ || secure_) releaseHeap();
  *static_cast<volatile std::uint8_t*>(&stamp_) = 0;
}

void StringBuffer::releaseHeap() {
  if (secure_) {
    wipe(inline_, sizeof inline_);
    if (heap_) wipe(heap_, capacity_);
  }
  std::free(heap_);
  heap_ = nullptr;
  capacity_ = 0;
  data_ = inline_;
}

bool StringBuffer::pointsInside(const void* p) const {
  // As numbers: comparing pointers into different objects is undefined.
  const auto at = reinterpret_cast<std::uintptr_t>(p);
  const auto begin = reinterpret_cast<std::uintptr_t>(data_);
  return at >= begin && at <= begin + length_;
}

bool StringBuffer::expectNumBytes(std::size_t n) {
  if (n < room() && length_ + n < room()) return true;
  return grow(n);
}

bool StringBuffer::grow(std::size_t n) {
  const std::uint64_t size = std::uint64_t{length_} + n + extend_ + 1;
  if (n > kMaxSize || size > kMaxSize) return false;
  auto* block = static_cast<char*>(std::malloc(size));
  if (!block) return false;
  std::memcpy(block, data_, length_ + std::size_t{1});
  const bool regrown = heap_ != nullptr;
  if (regrown) {
    if (secure_) wipe(heap_, capacity_);
    std::free(heap_);
  }
  heap_ = data_ = block;
  capacity_ = static_cast<std::uint32_t>(size);
  if (regrown && extend_ < kMaxExtend && extend_ < capacity_) {
    extend_ = capacity_ > kMaxExtendFrom ? kMaxExtend : capacity_ / 2;
  }
  return true;
}

void StringBuffer::finishAppend(std::size_t n) {
  std::size_t length = length_ + n;
  while (length > 0 && data_[length - 1] == '\0') --length;
  length_ = static_cast<std::uint32_t>(length);
  data_[length] = '\0';
}

bool StringBuffer::appendN(const void* bytes, std::size_t n) {
  if (bytes == nullptr || n == 0) return true;
  if (n >= room() || length_ + n >= room()) {
    const bool own = pointsInside(bytes);
    const std::size_t offset = own ? static_cast<const char*>(bytes) - data_ : 0;
    if (!grow(n)) return false;
    if (own) bytes = data_ + offset;
  }
  std::memmove(data_ + length_, bytes, n);
  finishAppend(n);
  return true;
}

bool StringBuffer::append(const StringBuffer& other) {
  if (&other == this) return false;
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return appendN(other.data_, other.length_);
}

bool StringBuffer::append(const DataBuffer& data) {
  if (!data.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return appendN(data.getData2(), data.getSize());
}

bool StringBuffer::appendCharN(char c, std::size_t times) {
  if (c == '\0' || times == 0) return true;
  if (!expectNumBytes(times)) return false;
  std::memset(data_ + length_, c, times);
  finishAppend(times);
  return true;
}

bool StringBuffer::appendInt(long long value) {
  char digits[24];
  char* p = digits + sizeof digits;
  auto rest = value < 0 ? 0 - static_cast<unsigned long long>(value)
                        : static_cast<unsigned long long>(value);
  do {
    *--p = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  if (value < 0) *--p = '-';
  return appendN(p, static_cast<std::size_t>(digits + sizeof digits - p));
}

bool StringBuffer::prepend(std::string_view text) {
  if (text.empty()) return true;
  if (pointsInside(text.data())) {
    StringBuffer copy;
    return copy.append(text) && prepend(copy.view());
  }
  if (!expectNumBytes(text.size())) return false;
  std::memmove(data_ + text.size(), data_, length_);
  std::memcpy(data_, text.data(), text.size());
  finishAppend(text.size());
  return true;
}

bool StringBuffer::setString(std::string_view text) {
  if (text.data() != nullptr && pointsInside(text.data())) {
    // Part of the present text always fits; it only moves to the front.
    std::memmove(data_, text.data(), text.size());
    length_ = 0;
    finishAppend(text.size());
    return true;
  }
  const std::uint32_t before = length_;
  const char first = data_[0];
  weakClear();
  if (append(text)) return true;
  length_ = before;
  data_[0] = first;
  return false;
}

bool StringBuffer::setString(const StringBuffer& other) {
  if (&other == this) return true;
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return setString(other.view());
}

void StringBuffer::strongClear() {
  releaseHeap();
  weakClear();
}

void StringBuffer::secureClear() {
  const bool secure = secure_;
  secure_ = true;
  strongClear();
  secure_ = secure;
}

void StringBuffer::minimizeMemoryUsage() {
  if (!heap_) return;
  if (length_ + 1 < kInlineSize) {
    char* block = heap_;
    const std::uint32_t size = capacity_;
    std::memcpy(inline_, block, length_ + std::size_t{1});
    heap_ = nullptr;
    capacity_ = 0;
    data_ = inline_;
    if (secure_) wipe(block, size);
    std::free(block);
    return;
  }
  if (capacity_ <= std::uint64_t{length_} + kWorthShrinking) return;
  const std::uint32_t size = length_ + 1;
  auto* block = static_cast<char*>(std::malloc(size));
  if (!block) return;
  std::memcpy(block, data_, size);
  if (secure_) wipe(heap_, capacity_);
  std::free(heap_);
  heap_ = data_ = block;
  capacity_ = size;
}

void StringBuffer::shorten(std::size_t n) { rollback(n < length_ ? length_ - n : 0); }

void StringBuffer::rollback(std::size_t size) {
  if (size >= length_) return;
  length_ = 0;
  finishAppend(size);
}

void StringBuffer::removeFromStart(std::size_t n) {
  if (n == 0) return;
  if (n >= length_) {
    length_ = 0;
    data_[0] = '\0';
    return;
  }
  const std::size_t rest = length_ - n;
  std::memmove(data_, data_ + n, rest);
  length_ = 0;
  finishAppend(rest);
}

void StringBuffer::chopAtFirstChar(char c) {
  if (const char* at = std::strchr(data_, c); at && c != '\0') {
    rollback(static_cast<std::size_t>(at - data_));
  }
}

void StringBuffer::takeOver(StringBuffer& other) noexcept {
  releaseHeap();
  if (other.heap_) {
    heap_ = data_ = other.heap_;
    capacity_ = other.capacity_;
  } else {
    std::memcpy(inline_, other.inline_, other.length_ + std::size_t{1});
  }
  length_ = other.length_;
  extend_ = kFirstExtend;
  if (other.secure_) {
    secure_ = true;
    wipe(other.inline_, sizeof other.inline_);
  }
  other.heap_ = nullptr;
  other.capacity_ = 0;
  other.data_ = other.inline_;
  other.weakClear();
}

bool StringBuffer::takeSb(StringBuffer& other) {
  if (&other == this) return false;
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  takeOver(other);
  return true;
}

bool StringBuffer::takeFromDb(DataBuffer& db) {
  if (!db.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  const std::uint32_t size = db.size_;
  // A terminator must fit behind the bytes, or the block cannot be taken as it is.
  if (db.borrowed_ || size + 1 < kInlineSize || !db.ensureBuffer(1)) {
    if (!setString(db.view())) return false;
    db.clearWithDeallocate();
    return true;
  }
  releaseHeap();
  heap_ = data_ = reinterpret_cast<char*>(db.data_);
  capacity_ = db.capacity_;
  length_ = 0;
  extend_ = kFirstExtend;
  if (db.secure_) secure_ = true;
  db.forget();
  finishAppend(size);
  return true;
}

// ---- Looking at the text, trimming, rewriting in place

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

// ---- Replacing pieces

namespace {

constexpr std::size_t kNone = std::string_view::npos;

std::size_t findIn(std::string_view text, std::string_view what, std::size_t from, bool noCase) {
  return noCase ? findBytesNoCase(text, what, from) : findBytes(text, what, from);
}

}  // namespace

int StringBuffer::replaceAllOccurances(std::string_view from, std::string_view to) {
  std::size_t at = findBytes(view(), from);
  if (at == kNone) return 0;
  StringBuffer result;
  if (to.size() <= from.size() && !result.expectNumBytes(length_)) return -1;
  std::size_t done = 0;
  int count = 0;
  for (; at != kNone; at = findBytes(view(), from, done)) {
    if (!result.append(view().substr(done, at - done)) || !result.append(to)) return -1;
    done = at + from.size();
    ++count;
  }
  if (!result.append(view().substr(done))) return -1;
  takeOver(result);
  return count;
}

bool StringBuffer::replaceFirstOccurance(std::string_view from, std::string_view to,
                                         bool caseInsensitive) {
  const std::size_t at = findIn(view(), from, 0, caseInsensitive);
  if (at == kNone) return false;
  StringBuffer result;
  if (!result.expectNumBytes(length_ - from.size() + to.size())) return false;
  if (!result.append3(view().substr(0, at), to, view().substr(at + from.size()))) return false;
  takeOver(result);
  return true;
}

bool StringBuffer::getBetween(std::string_view a, std::string_view b, StringBuffer& dest) const {
  std::size_t begin = findBytes(view(), a);
  if (begin == kNone) return false;
  begin += a.size();
  const std::size_t end = findBytes(view(), b, begin);
  if (end == kNone) return false;
  return dest.append(view().substr(begin, end - begin));
}

bool StringBuffer::replaceAllBetween(std::string_view a, std::string_view b, std::string_view with,
                                     bool caseInsensitive) {
  StringBuffer result;
  std::size_t done = 0;
  bool found = false;
  while (true) {
    std::size_t begin = findIn(view(), a, done, caseInsensitive);
    if (begin == kNone) break;
    begin += a.size();
    const std::size_t end = findIn(view(), b, begin, caseInsensitive);
    if (end == kNone) break;
    if (!result.append2(view().substr(done, begin - done), with)) return false;
    if (!result.append(view().substr(end, b.size()))) return false;
    done = end + b.size();
    found = true;
  }
  if (!found || !result.append(view().substr(done))) return false;
  takeOver(result);
  return true;
}

bool StringBuffer::splitAttrValue(StringBuffer& attr, StringBuffer& value,
                                  bool removeQuotes) const {
  value.weakClear();
  std::string_view text = view();
  while (!text.empty() && isEngineSpace(text.front())) text.remove_prefix(1);
  const std::size_t equals = text.find('=');
  if (!attr.setString(trimmed(text.substr(0, equals)))) return false;
  if (equals == kNone) return true;
  text.remove_prefix(equals + 1);
  while (!text.empty() && isEngineSpace(text.front())) text.remove_prefix(1);
  if (removeQuotes && !text.empty() && text.front() == '"') {
    text.remove_prefix(1);
    const std::string_view core = trimmed(text);
    if (!core.empty() && core.back() == '"') {
      text = text.substr(0, static_cast<std::size_t>(&core.back() - text.data()));
    }
  }
  return value.setString(text);
}

}  // namespace keldane::mime
