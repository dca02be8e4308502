#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

class StringBuffer;

/// A growable run of bytes with no text meaning: bodies, attachments, converted text. Grows in
/// tiers so that a message of many megabytes is not copied once per append.
///
/// Bytes may be borrowed (`borrowData`): they are never freed here, and the first growth copies
/// them. Nothing throws: an operation that may grow answers false when memory runs out or the size
/// would reach 4 GB, and the content is then as before. Not locked: one thread at a time. Not
/// copyable, since bodies are large: `append` copies, `takeData` moves.
class DataBuffer : public TarnellObject {
 public:
  DataBuffer() = default;
  DataBuffer(const DataBuffer&) = delete;
  DataBuffer& operator=(const DataBuffer&) = delete;
  ~DataBuffer() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kDataBuffer; }

  /// Null while nothing was ever stored.
  [[nodiscard]] const std::uint8_t* getData2() const { return data_; }
  [[nodiscard]] std::uint8_t* getData_rw() { return data_; }
  [[nodiscard]] std::uint32_t getSize() const { return size_; }
  [[nodiscard]] std::uint32_t getCapacity() const { return capacity_; }
  [[nodiscard]] bool isEmpty() const { return size_ == 0; }
  [[nodiscard]] bool isBorrowed() const { return borrowed_; }
  /// Valid until the next change of this object.
  [[nodiscard]] std::string_view view() const {
    return {reinterpret_cast<const char*>(data_), size_};
  }
  /// 0 when out of range.
  [[nodiscard]] std::uint8_t byteAt(std::size_t i) const { return i < size_ ? data_[i] : 0; }

  bool append(const void* bytes, std::size_t n);
  bool append(std::string_view bytes) { return append(bytes.data(), bytes.size()); }
  /// False, and nothing done, when `other` is this object or is stale.
  bool append(const DataBuffer& other);
  bool appendChar(std::uint8_t c) {
    if (size_ < capacity_ && !borrowed_) {
      data_[size_++] = c;
      return true;
    }
    return appendCharSlow(c);
  }
  /// Appends without the NUL bytes.
  bool appendSkipNulls(const void* bytes, std::size_t n);
  /// Makes room for exactly `n` more bytes when there is less.
  bool ensureBuffer(std::size_t n);
  /// Room for `n` bytes behind the data, to be written directly and then taken in by `commitTail`;
  /// null when memory runs out.
  [[nodiscard]] std::uint8_t* reserveTail(std::size_t n);
  void commitTail(std::size_t n) { size_ += static_cast<std::uint32_t>(n); }
  /// The bytes stay the caller's, who keeps them alive and unchanged while they are used here.
  void borrowData(const void* bytes, std::size_t n);

  /// Size 0, the block is kept.
  void clear();
  void clearWithDeallocate();
  /// Gives back the room behind the data, when it is much.
  void minimizeMemoryUsage();
  void setSecure(bool on) { secure_ = on; }
  /// Moves the other's bytes here; the other is empty afterwards.
  bool takeData(DataBuffer& other);
  /// Drops `n` bytes from the end; all of them when there are fewer.
  void shorten(std::size_t n) { size_ = n < size_ ? size_ - static_cast<std::uint32_t>(n) : 0; }
  void rollback(std::size_t size) {
    if (size < size_) size_ = static_cast<std::uint32_t>(size);
  }
  void removeFromStart(std::size_t n);
  void replaceChar(std::uint8_t from, std::uint8_t to);

  [[nodiscard]] bool containsChar(std::uint8_t c) const;
  /// Looks at the first `limit` bytes, all when 0.
  [[nodiscard]] bool containsSubstring(std::string_view text, std::size_t limit = 0) const;
  [[nodiscard]] bool beginsWith(std::string_view text) const {
    return view().substr(0, text.size()) == text;
  }
  /// First place of `bytes` at or after `from`; null when there is none.
  [[nodiscard]] const std::uint8_t* findBytes(std::string_view bytes, std::size_t from = 0) const;
  [[nodiscard]] bool equals(std::string_view bytes) const { return view() == bytes; }
  /// True when the first `n` bytes (all when 0) are below 0x80.
  [[nodiscard]] bool is7bit(std::size_t n) const;

  /// By its BOM or its NUL bytes: 1200, 1201, 12000, 12001 or 65001; -1 when nothing shows.
  [[nodiscard]] int detectObviousCodePage() const;

 private:
  friend class StringBuffer;

  bool expandBuffer(std::size_t n);
  bool appendCharSlow(std::uint8_t c);
  bool reallocate(std::uint64_t capacity);
  void forget();

  std::uint8_t* data_ = nullptr;
  std::uint32_t size_ = 0;
  std::uint32_t capacity_ = 0;
  bool borrowed_ = false;
  bool secure_ = false;
  std::uint8_t stamp_ = Stamps::kDataBuffer;
};

}  // namespace keldane::mime
