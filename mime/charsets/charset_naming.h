#pragma once

#include <string_view>

#include "mime/buffers/string_buffer.h"

namespace keldane::mime {

/// Charset names and code page numbers (Windows numbering). 0 means that no charset is known. The
/// table also knows the engine's binary encodings under numbers below 100 (37 excepted, which is a
/// charset), so "base64" is a valid name here. No lookup allocates.
class CharsetNaming {
 public:
  static constexpr int kUtf8 = 65001;
  static constexpr int kUsAscii = 20127;

  /// The page or 0. Leaves `name` trimmed, in lower case and without quotes and BOM prefixes.
  static int GetCodePage(StringBuffer& name);
  /// The same on a copy.
  static int GetCodePage_p(std::string_view name);
  /// Replaces `out` by the canonical name; false, and `out` empty, for an unknown number.
  static bool GetCharsetName(int codePage, StringBuffer& out);
  /// The canonical name; empty for an unknown number.
  static std::string_view charsetName(int codePage);
  static bool CharsetValid(StringBuffer& name) { return GetCodePage(name) != 0; }
  static bool CharsetValid_p(std::string_view name) { return GetCodePage_p(name) != 0; }
  static bool GetAnsiCharset(StringBuffer& out);

  /// 28591 to 28605 or 1250 to 1258.
  static constexpr bool isLatinFamily(int codePage) {
    return (codePage >= 28591 && codePage <= 28605) || (codePage >= 1250 && codePage <= 1258);
  }
  /// UTF-16 or UTF-32 in either byte order.
  static constexpr bool isWide(int codePage) {
    return codePage == 1200 || codePage == 1201 || codePage == 12000 || codePage == 12001 ||
           codePage == 65005 || codePage == 65006;
  }
};

}  // namespace keldane::mime
