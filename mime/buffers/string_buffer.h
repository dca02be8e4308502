#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

class DataBuffer;

/// A growable run of bytes that is also a C string: the text type of the engine. Up to 81 bytes
/// stay inside the object; longer texts go to a heap block that a `weakClear` keeps for reuse.
///
/// It can hold NUL bytes in the middle but never ends in one: every append drops trailing NULs.
/// Tests and searches look at the text up to its first NUL; a text argument is taken up to its
/// first NUL as well. Splitting stands beside the list that takes the pieces, charsets and encoded
/// words beside their converters. Case is ASCII case. White space is TAB, LF, CR and SPACE
/// throughout the engine.
///
/// Nothing throws: operations that may grow answer false when memory runs out or the text would
/// reach 4 GB, and the content is then as before. Not locked: one thread at a time.
class StringBuffer : public TarnellObject {
 public:
  static constexpr std::uint32_t kInlineSize = 83;
  static constexpr std::uint32_t kFirstExtend = 202;

  StringBuffer() { inline_[0] = '\0'; }
  explicit StringBuffer(std::string_view text) : StringBuffer() { append(text); }
  StringBuffer(const StringBuffer& other);
  StringBuffer(StringBuffer&& other) noexcept;
  StringBuffer& operator=(const StringBuffer& other);
  StringBuffer& operator=(StringBuffer&& other) noexcept;
  ~StringBuffer() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kStringBuffer; }

  // Read access. `getString` is never null and always NUL-terminated.
  [[nodiscard]] const char* getString() const { return data_; }
  [[nodiscard]] std::uint32_t getSize() const { return length_; }
  [[nodiscard]] std::uint32_t getCapacity() const { return capacity_; }
  [[nodiscard]] bool isEmpty() const { return length_ == 0; }
  /// Valid until the next change of this object.
  [[nodiscard]] std::string_view view() const { return {data_, length_}; }
  /// 0 when out of range.
  [[nodiscard]] char charAt(std::size_t i) const { return i < length_ ? data_[i] : '\0'; }
  [[nodiscard]] char lastChar() const { return length_ ? data_[length_ - 1] : '\0'; }
  /// Writable bytes, `getSize()` of them; the caller keeps the length and writes no trailing NUL.
  [[nodiscard]] char* getString_rw() { return data_; }

  // Adding.
  bool append(const char* text) {
    return text == nullptr || appendN(text, std::char_traits<char>::length(text));
  }
  bool append(std::string_view text) { return appendN(text.data(), text.size()); }
  /// False, and nothing done, when `other` is this object or is stale.
  bool append(const StringBuffer& other);
  bool append(const DataBuffer& data);
  bool append2(std::string_view a, std::string_view b) { return append(a) && append(b); }
  bool append3(std::string_view a, std::string_view b, std::string_view c) {
    return append(a) && append(b) && append(c);
  }
  bool appendN(const void* bytes, std::size_t n);
  bool appendChar(char c) {
    if (c != '\0' && length_ + 1 < room()) {
      data_[length_++] = c;
      data_[length_] = '\0';
      return true;
    }
    return appendN(&c, 1);
  }
  bool appendCharN(char c, std::size_t times);
  bool appendInt(long long value);
  bool prepend(std::string_view text);
  /// Replaces the contents; `text` may point inside this buffer.
  bool setString(std::string_view text);
  bool setString(const StringBuffer& other);
  /// Makes room for `n` more bytes, so that the next appends of that many do not allocate.
  bool expectNumBytes(std::size_t n);
  /// Room for `n` bytes behind the text, to be written directly and then taken in by `commitTail`
  /// (which drops trailing NULs); null when memory runs out.
  [[nodiscard]] char* reserveTail(std::size_t n) {
    return expectNumBytes(n) ? data_ + length_ : nullptr;
  }
  void commitTail(std::size_t n) { finishAppend(n); }

  // Clearing and cutting.
  void weakClear() {
    length_ = 0;
    extend_ = kFirstExtend;
    data_[0] = '\0';
  }
  void clear() { weakClear(); }
  void strongClear();
  void secureClear();
  void setSecure(bool on) { secure_ = on; }
  void minimizeMemoryUsage();
  /// Drops `n` bytes from the end; all of them when there are fewer.
  void shorten(std::size_t n);
  void chopAtFirstChar(char c);
  /// Cuts the text back to `size` bytes; does nothing when it is shorter.
  void rollback(std::size_t size);
  void removeFromStart(std::size_t n);
  void trim2();
  void trimRight2();
  void trimInsideSpaces();

  // Rewriting in place.
  void toLowerCase();
  void removeCharOccurances(char c);
  void replaceCharAnsi(char from, char to);
  /// Replaces each of the first five characters of `set`.
  void replaceChar5(std::string_view set, char to);
  void toCRLF();
  void toLF();
  /// Number of replacements; -1 when memory ran out (the text is then unchanged).
  int replaceAllOccurances(std::string_view from, std::string_view to);
  bool replaceFirstOccurance(std::string_view from, std::string_view to, bool caseInsensitive);
  /// Appends the text between the first `a` and the next `b` to `dest`; false when one is missing.
  bool getBetween(std::string_view a, std::string_view b, StringBuffer& dest) const;
  /// Replaces what stands between each `a` and the next `b` (both stay); false when none was found.
  bool replaceAllBetween(std::string_view a, std::string_view b, std::string_view with,
                         bool caseInsensitive);

  // Tests.
  /// True when the first `n` bytes (all when 0) are below 0x80.
  [[nodiscard]] bool is7bit(std::size_t n) const;
  [[nodiscard]] bool containsChar(char c) const;
  [[nodiscard]] bool containsSubstring(std::string_view text) const;
  [[nodiscard]] bool containsSubstringNoCase(std::string_view text) const;
  [[nodiscard]] bool beginsWith(std::string_view text) const;
  [[nodiscard]] bool beginsWithIgnoreCase(std::string_view text) const;
  [[nodiscard]] bool beginsWithIgnoreCaseN(const char* text, std::size_t n) const;
  [[nodiscard]] bool endsWith(std::string_view text) const;
  [[nodiscard]] bool endsWithIgnoreCase(std::string_view text) const;
  [[nodiscard]] bool equals(std::string_view text) const;
  /// False when `other` is stale, here and below.
  [[nodiscard]] bool equals(const StringBuffer& other) const {
    return other.isValidObject() && equals(other.view());
  }
  [[nodiscard]] bool equalsIgnoreCase(std::string_view text) const;
  [[nodiscard]] bool equalsIgnoreCase(const StringBuffer& other) const {
    return other.isValidObject() && equalsIgnoreCase(other.view());
  }
  /// Exact equality but for case: false whenever `n` is not the stored length. Field lookup.
  [[nodiscard]] bool equalsIgnoreCase2(const char* text, std::size_t n) const;
  [[nodiscard]] bool equalsIgnoreCase2(std::string_view text) const {
    return equalsIgnoreCase2(text.data(), text.size());
  }
  [[nodiscard]] int countCharOccurances(char c) const;
  /// Whole-text match; `*` in the pattern stands for any run of bytes.
  [[nodiscard]] bool matches(std::string_view pattern, bool caseSensitive) const;

  /// Splits at the first `=`. Both results are replaced; no `=`: all is `attr`.
  bool splitAttrValue(StringBuffer& attr, StringBuffer& value, bool removeQuotes) const;

  /// Adds nothing up: sets both counts. Improbable are the bytes of 1252 that hardly occur in names
  /// and subjects.
  void countImprobableAnsiChars(int& n8bit, int& nImprobable) const;

  // Stealing: the other is empty afterwards.
  bool takeSb(StringBuffer& other);
  /// Takes the bytes of `db` (copies when they are borrowed) and drops trailing NULs.
  bool takeFromDb(DataBuffer& db);

 private:
  [[nodiscard]] std::uint32_t room() const { return heap_ ? capacity_ : kInlineSize - 1; }
  bool grow(std::size_t n);
  void releaseHeap();
  void finishAppend(std::size_t n);
  [[nodiscard]] bool pointsInside(const void* p) const;
  void takeOver(StringBuffer& other) noexcept;

  char* data_ = inline_;
  char* heap_ = nullptr;
  std::uint32_t length_ = 0;
  std::uint32_t capacity_ = 0;
  std::uint32_t extend_ = kFirstExtend;
  bool secure_ = false;
  std::uint8_t stamp_ = Stamps::kStringBuffer;
  // Only as far as the text reaches; clearing it all for each field would cost more than the text.
  char inline_[kInlineSize];
};

}  // namespace keldane::mime
