#pragma once

#include <string_view>

#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

/// A charset: code page, canonical name, and whether a preamble (BOM) was asked for. Without a
/// charset the page is 0 and the name empty.
class _tnCharset {
 public:
  static constexpr int kPreambleAsNamed = 0;
  static constexpr int kPreambleWanted = 1;
  static constexpr int kPreambleUnwanted = 2;

  /// Empty text counts as "ansi". False, and no charset, for an unknown name; "default" and
  /// "x-user-defined" clear the charset and succeed.
  bool setByName(std::string_view name);
  bool setByCodePage(int codePage);
  [[nodiscard]] const char* getName() const { return name_.getString(); }
  [[nodiscard]] std::string_view nameView() const { return name_.view(); }
  [[nodiscard]] int getCodePage() const { return codePage_; }
  [[nodiscard]] int getPreambleChoice() const { return preamble_; }
  void clear();
  void copy(const _tnCharset& other);
  /// Compares the canonical name, ASCII case ignored.
  [[nodiscard]] bool equals(std::string_view name) const { return name_.equalsIgnoreCase(name); }

 private:
  StringBuffer name_;
  int codePage_ = 0;
  int preamble_ = kPreambleAsNamed;
};

}  // namespace keldane::mime
