#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_object.h"

namespace keldane::mime {

class LogBase;

/// A text value with up to three views: UTF-8, the ANSI code page, and wide characters. A view is
/// built when first asked for and then kept. A text set from UTF-8 loses a leading BOM, so a text
/// that reaches the application never begins with one.
///
/// Reading builds views, so even reading belongs to one thread at a time.
class XString : public TarnellObject {
 public:
  XString() = default;
  explicit XString(std::string_view utf8) { setFromUtf8(utf8); }
  XString(const XString& other);
  XString& operator=(const XString& other);
  ~XString() override;

  [[nodiscard]] bool isValidObject() const { return stamp_ == Stamps::kXString; }

  /// Never null; valid until the next change.
  [[nodiscard]] const char* getUtf8() const { return getUtf8Sb().getString(); }
  [[nodiscard]] const StringBuffer& getUtf8Sb() const;
  [[nodiscard]] std::string_view utf8View() const { return getUtf8Sb().view(); }
  /// For writing: drops the other views.
  [[nodiscard]] StringBuffer& getUtf8Sb_rw();
  [[nodiscard]] const char* getAnsi() const;
  /// Replaces `out` by the text in `codePage`; false as the conversion's.
  bool getConverted_cp(int codePage, DataBuffer& out) const;

  bool setFromUtf8(std::string_view text);
  bool setFromUtf8N(const char* text, std::size_t n);
  bool setFromSbUtf8(const StringBuffer& text);
  bool takeFromUtf8Sb(StringBuffer& text);
  bool setFromAnsi(std::string_view text);
  /// UTF-8 or ANSI, as the flag says: the door through which wrappers take their arguments.
  bool setFromDual(std::string_view text, bool isUtf8);
  /// `n` bytes of UTF-16 (or UTF-32) in machine order, without a terminator.
  bool setFromWide(const void* bytes, std::size_t n, bool is16bit);
  /// Appends to the UTF-8 view and drops the others.
  bool appendUtf8(std::string_view text);
  bool appendSbUtf8(const StringBuffer& text);
  bool appendX(const XString& other);
  bool copyFromX(const XString& other);

  void clear();
  void secureClear();
  void setSecure(bool on);
  [[nodiscard]] bool isEmpty() const { return getUtf8Sb().isEmpty(); }
  [[nodiscard]] bool is7bit() const;
  [[nodiscard]] bool equalsUtf8(std::string_view text) const { return getUtf8Sb().equals(text); }
  [[nodiscard]] bool containsSubstringUtf8(std::string_view text) const;
  int replaceAllOccurancesUtf8(std::string_view from, std::string_view to);
  void trim2() { getUtf8Sb_rw().trim2(); }
  /// Decodes encoded words in place; does nothing unless the text holds one.
  bool qbDecode(LogBase& log);

 private:
  void buildUtf8() const;
  void dropAllBut(bool utf8, bool ansi, bool wide) const;

  std::uint32_t stamp_ = Stamps::kXString;
  mutable bool wideReady_ = true;
  mutable bool ansiReady_ = true;
  mutable bool utf8Ready_ = true;
  mutable bool wideIs16bit_ = true;
  mutable DataBuffer wide_;
  mutable StringBuffer ansi_;
  mutable StringBuffer utf8_;
  bool secure_ = false;
};

/// Writes a text to the log, which itself knows texts as bytes only.
void LogDataX(LogBase& log, std::string_view name, const XString& value);

}  // namespace keldane::mime
