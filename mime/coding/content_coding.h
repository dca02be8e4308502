#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace keldane::mime {

class DataBuffer;
class LogBase;
class StringBuffer;

/// Transfer encodings of mail, both ways: base64, quoted-printable, the encoded words of headers
/// and the star-encoded parameters. Every decoder recovers what can be recovered and reports
/// nothing: damaged input gives less output, never a failure of the message.
///
/// Small and cheap to make; not shared between threads.
class ContentCoding {
 public:
  static constexpr int kDefaultLineLength = 76;

  /// Characters a line of the base64 encoder, 76 unless set.
  void setLineLength(int length) { lineLength_ = length; }
  /// In entity mode the quoted-printable decoder turns "=00" + four hex digits + ";" into "&#N;".
  void setEntityMode(bool on) { entityMode_ = on; }

  /// Appends the decoded bytes. Stops at the first '=' or NUL; bytes outside the alphabet are
  /// skipped. False only when memory runs out.
  bool decodeBase64ToDb(const char* text, std::size_t n, DataBuffer& out);
  /// The same into a new array; null when memory runs out.
  std::unique_ptr<std::uint8_t[]> decodeBase64(const char* text, std::size_t n,
                                               std::uint32_t& outLength);
  std::unique_ptr<std::uint8_t[]> decodeBase64_2(const char* text, std::size_t n,
                                                 std::uint32_t& outLength, bool& ok);
  /// Appends the decoded bytes, line ends as CR LF. False, and nothing appended, for empty input.
  bool decodeQuotedPrintable(const char* text, std::size_t n, DataBuffer& out);

  /// The Q encoding of one encoded word, appended to `out`.
  bool Q_Decode(const char* text, std::size_t n, DataBuffer& out);
  /// Replaces the encoded words of `value`, in place, by UTF-8. A word without an end loses all
  /// from its "=?" on.
  bool QB_DecodeToUtf8(StringBuffer& value, LogBase& log);
  /// The same without a charset step: the bytes stay in each word's charset. Appends to `out`.
  bool QB_Decode(const StringBuffer& value, DataBuffer& out);
  /// Appends the UTF-8 text of an RFC 2231 value to `out`; `charsetDefault` (a name, may be empty)
  /// serves a value without a label. `charsetOut` is replaced by the label.
  bool decodeStarEncoded(StringBuffer& value, std::string_view charsetDefault, StringBuffer& out,
                         StringBuffer& charsetOut, LogBase& log);

  /// Lines of `setLineLength` characters, each ending in CR LF. Appends.
  bool encodeBase64(const void* bytes, std::size_t n, StringBuffer& out);
  /// The same on one line without a line end.
  bool encodeBase64_noCrLf(const void* bytes, std::size_t n, StringBuffer& out);
  /// Soft breaks keep lines within 76 characters. CR LF in the input stays a line end. Appends.
  bool encodeQuotedPrintable(const void* bytes, std::size_t n, StringBuffer& out);
  /// Appends one B or Q word that holds the bytes, which are in `charset`. The caller cuts long
  /// texts: a word should stay within 75 characters and holds whole characters.
  bool bEncodeData2(const void* bytes, std::size_t n, std::string_view charset, StringBuffer& out);
  bool qEncodeData2(const void* bytes, std::size_t n, std::string_view charset, StringBuffer& out);
  /// Stands for itself in a Q word, wherever in a header the word is.
  [[nodiscard]] static constexpr bool isPlainInQ(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '!' || c == '*' || c == '+' || c == '/';
  }

 private:
  int lineLength_ = kDefaultLineLength;
  bool entityMode_ = false;
};

/// "%" and two hex digits as a byte; other text stays.
void urlDecodeSb(StringBuffer& text);

/// Value of a hex digit; -1 for any other character.
[[nodiscard]] constexpr int hexValue(char c) {
  return c >= '0' && c <= '9'   ? c - '0'
         : c >= 'a' && c <= 'f' ? c - 'a' + 10
         : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                : -1;
}

}  // namespace keldane::mime
