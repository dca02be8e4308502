#include "mime/buffers/string_buffer.h"

#include <cstdlib>
#include <cstring>
#include <limits>

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

}  // namespace keldane::mime
