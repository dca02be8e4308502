#include "mime/buffers/data_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/psdk.h"

namespace keldane::mime {

namespace {

constexpr std::uint64_t kMaxSize = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kSmallestGrowth = 20000;
constexpr std::uint64_t kRetrySlack = 400;
constexpr std::uint32_t kWorthShrinking = 256;
constexpr std::uint64_t kTiers[] = {12000000, 8000000, 4000000, 3000000,
                                    2000000,  1000000, 100000,  50000};

/// How much the block grows for `n` more bytes when `size` bytes are in use.
std::uint64_t growthFor(std::uint64_t size, std::uint64_t n) {
  for (const std::uint64_t tier : kTiers) {
    if (size >= tier && n < tier) return tier;
    if (size >= tier) break;
  }
  return std::max(n, kSmallestGrowth);
}

void wipe(void* p, std::size_t n) {
  volatile unsigned char* bytes = static_cast<unsigned char*>(p);
  while (n-- > 0) *bytes++ = 0;
}

}  // namespace

DataBuffer::~DataBuffer() {
  if (data_) clearWithDeallocate();
  *static_cast<volatile std::uint8_t*>(&stamp_) = 0;
}

void DataBuffer::forget() {
  data_ = nullptr;
  size_ = 0;
  capacity_ = 0;
  borrowed_ = false;
}

void DataBuffer::clear() {
  if (borrowed_) forget();
  size_ = 0;
}

void DataBuffer::clearWithDeallocate() {
  if (!borrowed_) {
    if (secure_ && data_) wipe(data_, capacity_);
    std::free(data_);
  }
  forget();
}

void DataBuffer::minimizeMemoryUsage() {
  if (!borrowed_ && capacity_ - size_ > kWorthShrinking) (void)reallocate(std::max(size_, 1U));
}

bool DataBuffer::reallocate(std::uint64_t capacity) {
  if (capacity > kMaxSize || capacity < size_) return false;
  void* block = nullptr;
  if (borrowed_ || secure_) {
    block = std::malloc(capacity);
    if (!block) return false;
    if (data_ && size_ != 0) std::memcpy(block, data_, size_);
    if (!borrowed_ && data_) {
      wipe(data_, capacity_);
      std::free(data_);
    }
  } else {
    block = std::realloc(data_, capacity);
    if (!block) return false;
  }
  data_ = static_cast<std::uint8_t*>(block);
  capacity_ = static_cast<std::uint32_t>(capacity);
  borrowed_ = false;
  return true;
}

bool DataBuffer::expandBuffer(std::size_t n) {
  if (n > kMaxSize || std::uint64_t{size_} + n > kMaxSize) return false;
  const std::uint64_t growth = growthFor(size_, n);
  const std::uint64_t base = borrowed_ ? size_ : capacity_;
  if (reallocate(base + growth)) return true;
  return n + kRetrySlack < growth && reallocate(size_ + n + kRetrySlack);
}

bool DataBuffer::ensureBuffer(std::size_t n) {
  if (!borrowed_ && n <= std::size_t{capacity_} - size_) return true;
  return n <= kMaxSize && reallocate(std::uint64_t{size_} + std::max<std::size_t>(n, 1));
}

std::uint8_t* DataBuffer::reserveTail(std::size_t n) {
  if ((borrowed_ || n > std::size_t{capacity_} - size_) && !expandBuffer(n)) return nullptr;
  return data_ + size_;
}

bool DataBuffer::append(const void* bytes, std::size_t n) {
  if (!bytes || n == 0) return true;
  if (borrowed_ || n > std::size_t{capacity_} - size_) {
    const auto at = reinterpret_cast<std::uintptr_t>(bytes);
    const auto begin = reinterpret_cast<std::uintptr_t>(data_);
    const bool own = data_ && at >= begin && at < begin + size_;
    if (!expandBuffer(n)) return false;
    if (own) bytes = data_ + (at - begin);
  }
  std::memcpy(data_ + size_, bytes, n);
  size_ += static_cast<std::uint32_t>(n);
  return true;
}

bool DataBuffer::append(const DataBuffer& other) {
  if (&other == this) return false;
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return append(other.data_, other.size_);
}

bool DataBuffer::appendCharSlow(std::uint8_t c) {
  const std::uint64_t step = size_ < 64 ? 64 : size_ < 256 ? 256 : size_ < 1024 ? 1024 : 10000;
  if (!reallocate(size_ + step)) return false;
  data_[size_++] = c;
  return true;
}

bool DataBuffer::appendSkipNulls(const void* bytes, std::size_t n) {
  if (!bytes) return true;
  const char* p = static_cast<const char*>(bytes);
  const char* const end = p + n;
  const std::uint32_t before = size_;
  while (p < end) {
    const void* nul = std::memchr(p, '\0', static_cast<std::size_t>(end - p));
    const char* stop = nul ? static_cast<const char*>(nul) : end;
    if (!append(p, static_cast<std::size_t>(stop - p))) {
      size_ = before;
      return false;
    }
    p = stop + 1;
  }
  return true;
}

void DataBuffer::borrowData(const void* bytes, std::size_t n) {
  clearWithDeallocate();
  if (!bytes || n == 0 || n > kMaxSize) return;
  // Never written through while borrowed: every writer copies first.
  data_ = static_cast<std::uint8_t*>(const_cast<void*>(bytes));
  size_ = static_cast<std::uint32_t>(n);
  borrowed_ = true;
}

bool DataBuffer::takeData(DataBuffer& other) {
  if (&other == this) return false;
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  clearWithDeallocate();
  data_ = other.data_;
  size_ = other.size_;
  capacity_ = other.capacity_;
  borrowed_ = other.borrowed_;
  secure_ = secure_ || other.secure_;
  other.forget();
  return true;
}

void DataBuffer::removeFromStart(std::size_t n) {
  if (n == 0) return;
  if (n >= size_) {
    clear();
    return;
  }
  if (borrowed_) {
    data_ += n;
  } else {
    std::memmove(data_, data_ + n, size_ - n);
  }
  size_ -= static_cast<std::uint32_t>(n);
}

void DataBuffer::replaceChar(std::uint8_t from, std::uint8_t to) {
  if (!containsChar(from) || (borrowed_ && !reallocate(size_))) return;
  std::replace(data_, data_ + size_, from, to);
}

bool DataBuffer::containsChar(std::uint8_t c) const {
  return size_ != 0 && std::memchr(data_, c, size_) != nullptr;
}

bool DataBuffer::containsSubstring(std::string_view text, std::size_t limit) const {
  return containsBytes(limit == 0 ? view() : view().substr(0, limit), text);
}

const std::uint8_t* DataBuffer::findBytes(std::string_view bytes, std::size_t from) const {
  const std::size_t at = mime::findBytes(view(), bytes, from);
  return at == std::string_view::npos ? nullptr : data_ + at;
}

bool DataBuffer::is7bit(std::size_t n) const {
  return isAllAscii(view().substr(0, n == 0 ? size_ : n));
}

int DataBuffer::detectObviousCodePage() const {
  constexpr std::uint32_t kManyNuls = 32;
  const std::string_view bytes = view();
  if (bytes.substr(0, 2) == "\xFF\xFE") return 1200;
  if (bytes.substr(0, 2) == "\xFE\xFF") return 1201;
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") return 65001;
  if (bytes.substr(0, 4) == std::string_view("\0\0\xFE\xFF", 4)) return 12001;
  if (!containsChar(0)) return -1;
  std::uint32_t nuls[2] = {0, 0};
  for (std::uint32_t i = 0; i < size_; ++i) nuls[i & 1] += data_[i] == 0;
  const std::uint32_t share = size_ <= 7 ? 1 : size_ / 8;
  const auto dense = [share](std::uint32_t n) { return n > kManyNuls || (n != 0 && n >= share); };
  if (dense(nuls[1])) return 1200;
  if (dense(nuls[0])) return 1201;
  return -1;
}

}  // namespace keldane::mime
