#include "mime/coding/content_coding.h"

#include <array>
#include <cstring>
#include <limits>
#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

// ---- Base64

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kSkipped = 0x7F;
constexpr std::uint8_t kEnd = 0x80;

/// Every byte's sextet, or what to do with it.
constexpr std::array<std::uint8_t, 256> makeTable() {
  std::array<std::uint8_t, 256> table{};
  for (auto& entry : table) entry = kSkipped;
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  table[static_cast<unsigned char>('=')] = kEnd;
  table[0] = kEnd;
  return table;
}

constexpr std::array<std::uint8_t, 256> kTable = makeTable();

/// Decodes into `out`, which has room for 3 n / 4 + 4 bytes; answers the number of bytes.
std::size_t decodeInto(const char* text, std::size_t n, std::uint8_t* out) {
  const auto* in = reinterpret_cast<const std::uint8_t*>(text);
  const std::uint8_t* const end = in + n;
  std::uint8_t* const start = out;
  std::uint32_t bits = 0;
  int held = 0;  // sextets in `bits`
  while (in < end) {
    if (held == 0) {
      // Whole groups of good characters, four at a time.
      while (end - in >= 4) {
        const std::uint32_t a = kTable[in[0]];
        const std::uint32_t b = kTable[in[1]];
        const std::uint32_t c = kTable[in[2]];
        const std::uint32_t d = kTable[in[3]];
        if ((a | b | c | d) > 63) break;
        const std::uint32_t group = (a << 18) | (b << 12) | (c << 6) | d;
        out[0] = static_cast<std::uint8_t>(group >> 16);
        out[1] = static_cast<std::uint8_t>(group >> 8);
        out[2] = static_cast<std::uint8_t>(group);
        out += 3;
        in += 4;
      }
      if (in == end) break;
    }
    const std::uint8_t value = kTable[*in++];
    if (value == kEnd) break;
    if (value == kSkipped) continue;
    bits = (bits << 6) | value;
    if (++held == 4) {
      out[0] = static_cast<std::uint8_t>(bits >> 16);
      out[1] = static_cast<std::uint8_t>(bits >> 8);
      out[2] = static_cast<std::uint8_t>(bits);
      out += 3;
      held = 0;
      bits = 0;
    }
  }
  if (held >= 2) *out++ = static_cast<std::uint8_t>(bits >> (held == 2 ? 4 : 10));
  if (held == 3) *out++ = static_cast<std::uint8_t>(bits >> 2);
  return static_cast<std::size_t>(out - start);
}

/// Four characters for up to three bytes.
void encodeGroup(const std::uint8_t* in, std::size_t n, char* out) {
  const std::uint32_t group = (std::uint32_t{in[0]} << 16) |
                              (n > 1 ? std::uint32_t{in[1]} << 8 : 0) |
                              (n > 2 ? std::uint32_t{in[2]} : 0);
  out[0] = kAlphabet[group >> 18];
  out[1] = kAlphabet[(group >> 12) & 63];
  out[2] = n > 1 ? kAlphabet[(group >> 6) & 63] : '=';
  out[3] = n > 2 ? kAlphabet[group & 63] : '=';
}

char* encodeRun(const std::uint8_t* in, std::size_t n, char* out) {
  for (; n >= 3; n -= 3, in += 3, out += 4) encodeGroup(in, 3, out);
  if (n != 0) {
    encodeGroup(in, n, out);
    out += 4;
  }
  return out;
}

}  // namespace

bool ContentCoding::decodeBase64ToDb(const char* text, std::size_t n, DataBuffer& out) {
  if (text == nullptr || n == 0) return true;
  std::uint8_t* room = out.reserveTail(n / 4 * 3 + 4);
  if (room == nullptr) return false;
  out.commitTail(decodeInto(text, n, room));
  return true;
}

std::unique_ptr<std::uint8_t[]> ContentCoding::decodeBase64_2(const char* text, std::size_t n,
                                                              std::uint32_t& outLength, bool& ok) {
  outLength = 0;
  ok = false;
  if (text == nullptr) n = 0;
  if (n > std::numeric_limits<std::uint32_t>::max()) return nullptr;
  std::unique_ptr<std::uint8_t[]> out(new (std::nothrow) std::uint8_t[n / 4 * 3 + 4]);
  if (!out) return out;
  outLength = static_cast<std::uint32_t>(decodeInto(text, n, out.get()));
  ok = true;
  return out;
}

std::unique_ptr<std::uint8_t[]> ContentCoding::decodeBase64(const char* text, std::size_t n,
                                                            std::uint32_t& outLength) {
  bool ok = false;
  return decodeBase64_2(text, n, outLength, ok);
}

bool ContentCoding::encodeBase64(const void* bytes, std::size_t n, StringBuffer& out) {
  if (n == 0) return true;
  const auto* in = static_cast<const std::uint8_t*>(bytes);
  const std::size_t perLine = static_cast<std::size_t>(lineLength_ < 4 ? 4 : lineLength_) / 4 * 3;
  const std::size_t lines = (n + perLine - 1) / perLine;
  char* room = out.reserveTail((n + 2) / 3 * 4 + 2 * lines);
  if (room == nullptr) return false;
  char* at = room;
  while (n != 0) {
    const std::size_t part = n < perLine ? n : perLine;
    at = encodeRun(in, part, at);
    *at++ = '\r';
    *at++ = '\n';
    in += part;
    n -= part;
  }
  out.commitTail(static_cast<std::size_t>(at - room));
  return true;
}

bool ContentCoding::encodeBase64_noCrLf(const void* bytes, std::size_t n, StringBuffer& out) {
  if (n == 0) return true;
  char* room = out.reserveTail((n + 2) / 3 * 4);
  if (room == nullptr) return false;
  char* end = encodeRun(static_cast<const std::uint8_t*>(bytes), n, room);
  out.commitTail(static_cast<std::size_t>(end - room));
  return true;
}

// ---- Quoted-printable

namespace {

/// White space at the end of a line, also with the top bit set by a gateway that is not 7-bit
/// clean.
constexpr bool isLineBlank(std::uint8_t c) {
  const std::uint8_t low = c & 0x7F;
  return low == '\t' || low == '\n' || low == '\r' || c == ' ' || c == 0xA0;
}

constexpr int hexOf(std::uint8_t c) { return hexValue(static_cast<char>(c & 0x7F)); }

/// Output that is known to fit: a decoded text is never longer than its lines, each with two bytes
/// more for its end, and no replacement is longer than what it replaces.
class Writer {
 public:
  explicit Writer(std::uint8_t* at) : start_(at), at_(at) {}
  void put(std::uint8_t c) { *at_++ = c; }
  void putLineEnd() {
    *at_++ = '\r';
    *at_++ = '\n';
  }
  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(at_ - start_); }

 private:
  std::uint8_t* start_;
  std::uint8_t* at_;
};

/// "00" + four hex digits + ";" behind the "=": the entity's number, or -1.
int entityNumber(const std::uint8_t* at, const std::uint8_t* end) {
  if (end - at < 7 || at[0] != '0' || at[1] != '0' || at[6] != ';') return -1;
  int number = 0;
  for (int i = 2; i < 6; ++i) {
    const int digit = hexOf(at[i]);
    if (digit < 0) return -1;
    number = number * 16 + digit;
  }
  return number;
}

void putEntity(int number, Writer& out) {
  char digits[8];
  int length = 0;
  do {
    digits[length++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  out.put('&');
  out.put('#');
  while (length != 0) out.put(static_cast<std::uint8_t>(digits[--length]));
  out.put(';');
}

/// What follows an "=" at `at`; steps over it. `at` is below `end`.
const std::uint8_t* decodeEscape(const std::uint8_t* at, const std::uint8_t* end, bool entityMode,
                                 Writer& out) {
  if (entityMode) {
    const int number = entityNumber(at, end);
    if (number >= 0) {
      putEntity(number, out);
      return at + 7;
    }
  }
  if (end - at < 2 || hexOf(at[0]) < 0 || hexOf(at[1]) < 0) {
    out.put('=');
    return at;
  }
  // An encoder that printed a negative char: "FFFFFF" in front of the byte's own digits.
  if (end - at >= 8 && std::memcmp(at, "FFFFFF", 6) == 0 && hexOf(at[6]) >= 0 &&
      hexOf(at[7]) >= 0) {
    at += 6;
  }
  out.put(static_cast<std::uint8_t>(hexOf(at[0]) * 16 + hexOf(at[1])));
  return at + 2;
}

/// Decodes one line without its end; true when it ends in a soft break.
bool decodeLine(const std::uint8_t* at, const std::uint8_t* end, bool entityMode, Writer& out) {
  while (at < end) {
    const std::uint8_t c = *at++;
    if ((c & 0x7F) != '=') {
      out.put(c);
    } else if (at == end) {
      return true;
    } else {
      at = decodeEscape(at, end, entityMode, out);
    }
  }
  return false;
}

}  // namespace

bool ContentCoding::decodeQuotedPrintable(const char* text, std::size_t n, DataBuffer& out) {
  if (text == nullptr) return false;
  n = ::strnlen(text, n);
  if (n == 0) return false;
  const auto* at = reinterpret_cast<const std::uint8_t*>(text);
  const std::uint8_t* const end = at + n;
  std::size_t lines = 1;
  for (const std::uint8_t* p = at; (p = static_cast<const std::uint8_t*>(std::memchr(
                                        p, '\n', static_cast<std::size_t>(end - p)))) != nullptr;
       ++p) {
    ++lines;
  }
  std::uint8_t* room = out.reserveTail(n + lines + 2);
  if (room == nullptr) return false;
  Writer writer(room);
  while (at < end) {
    const auto* feed =
        static_cast<const std::uint8_t*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
    const std::uint8_t* lineEnd = feed != nullptr ? feed : end;
    while (lineEnd > at && isLineBlank(lineEnd[-1])) --lineEnd;
    const bool soft = decodeLine(at, lineEnd, entityMode_, writer);
    if (feed == nullptr) break;
    if (!soft) writer.putLineEnd();
    at = feed + 1;
  }
  out.commitTail(writer.size());
  return true;
}

bool ContentCoding::encodeQuotedPrintable(const void* bytes, std::size_t n, StringBuffer& out) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  constexpr std::size_t kLongestLine = 76;
  const auto* in = static_cast<const std::uint8_t*>(bytes);
  // At worst each byte takes three characters, and a break comes every 24 of them.
  char* room = out.reserveTail(n * 3 + n / 8 + 16);
  if (room == nullptr) return false;
  char* at = room;
  std::size_t column = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint8_t c = in[i];
    if (c == '\r' && i + 1 < n && in[i + 1] == '\n') {
      *at++ = '\r';
      *at++ = '\n';
      column = 0;
      ++i;
      continue;
    }
    // A blank in front of a line end would be lost on the way.
    const bool atLineEnd = i + 1 == n || in[i + 1] == '\r' || in[i + 1] == '\n';
    const bool plain = c >= 32 && c <= 126 && c != '=' && !(c == ' ' && atLineEnd);
    const std::size_t width = plain ? 1 : 3;
    if (column + width > kLongestLine - 1) {
      *at++ = '=';
      *at++ = '\r';
      *at++ = '\n';
      column = 0;
    }
    if (plain) {
      *at++ = static_cast<char>(c);
    } else {
      *at++ = '=';
      *at++ = kHex[c >> 4];
      *at++ = kHex[c & 15];
    }
    column += width;
  }
  out.commitTail(static_cast<std::size_t>(at - room));
  return true;
}

// ---- Encoded words

namespace {

bool isOnlyBlanks(std::string_view text) {
  for (const char c : text) {
    if (c != ' ' && c != '\t') return false;
  }
  return true;
}

/// Bytes that Q text may hold as they are; control bytes, 127 to 159 and '?' are dropped.
constexpr bool isQLiteral(std::uint8_t c) {
  return (c >= 32 && c <= 126 && c != '=' && c != '?' && c != '_') || c >= 160;
}

/// One encoded word, or the end of the walk.
struct Word {
  std::string_view charset;
  bool isBase64 = false;
  std::string_view payload;
};

/// Walks a value from word to word. A word that is cut off ends the walk, and the rest is lost.
class WordWalk {
 public:
  explicit WordWalk(std::string_view value) : rest_(value) {}

  /// Steps to the next word. `before` is the text in front of it, which is to be kept; true when
  /// there is a word, false at the end, with what is left in `before`.
  bool next(std::string_view& before, Word& word) {
    const std::size_t start = findBytes(rest_, "=?");
    if (start == std::string_view::npos) {
      before = isOnlyBlanks(rest_) ? std::string_view() : rest_;
      rest_ = {};
      return false;
    }
    before = rest_.substr(0, start);
    if (isOnlyBlanks(before)) before = {};
    rest_.remove_prefix(start + 2);
    return readWord(word);
  }

 private:
  bool readWord(Word& word) {
    const std::size_t charsetEnd = rest_.find('?');
    if (charsetEnd == std::string_view::npos || charsetEnd + 2 >= rest_.size()) return end();
    word.charset = rest_.substr(0, charsetEnd);
    const char encoding = rest_[charsetEnd + 1];
    word.isBase64 = encoding == 'B' || encoding == 'b';
    rest_.remove_prefix(charsetEnd + 1);
    const std::size_t payloadStart = rest_.find('?', 1);
    if (payloadStart == std::string_view::npos) return end();
    rest_.remove_prefix(payloadStart + 1);
    const std::size_t payloadEnd = findBytes(rest_, "?=");
    if (payloadEnd == std::string_view::npos) return end();
    word.payload = rest_.substr(0, payloadEnd);
    rest_.remove_prefix(payloadEnd + 2);
    return true;
  }

  bool end() {
    rest_ = {};
    return false;
  }

  std::string_view rest_;
};

bool decodePayload(ContentCoding& coding, const Word& word, DataBuffer& out) {
  return word.isBase64 ? coding.decodeBase64ToDb(word.payload.data(), word.payload.size(), out)
                       : coding.Q_Decode(word.payload.data(), word.payload.size(), out);
}

void appendDecoded(const Word& word, const DataBuffer& bytes, DataBuffer& out, LogBase& log) {
  const std::string_view charset = equalsNoCase(word.charset, "8bit") ? "utf-8" : word.charset;
  if (equalsNoCase(charset, "utf-8")) {
    out.appendSkipNulls(bytes.getData2(), bytes.getSize());
    return;
  }
  const int codePage = CharsetNaming::GetCodePage_p(charset);
  if (codePage == 0) {
    if (log.verbose()) log.LogData(word.isBase64 ? "invalidBCharset" : "invalidQCharset", charset);
    out.appendSkipNulls(bytes.getData2(), bytes.getSize());
    return;
  }
  EncodingConvert convert;
  if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes.getData2(), bytes.getSize(), out,
                          log)) {
    log.LogError("Errors in decoding from the specified charset.");
    log.LogData("charset", charset);
  }
}

}  // namespace

bool ContentCoding::Q_Decode(const char* text, std::size_t n, DataBuffer& out) {
  std::uint8_t* room = out.reserveTail(n + 1);
  if (room == nullptr) return false;
  std::uint8_t* at = room;
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<std::uint8_t>(text[i]);
    if (c == '_') {
      *at++ = ' ';
    } else if (c == '=') {
      const int high = i + 2 < n ? hexValue(text[i + 1]) : -1;
      const int low = high >= 0 ? hexValue(text[i + 2]) : -1;
      if (low >= 0) {
        *at++ = static_cast<std::uint8_t>(high * 16 + low);
        i += 2;
      } else {
        *at++ = '=';
      }
    } else if (isQLiteral(c)) {
      *at++ = c;
    }
  }
  out.commitTail(static_cast<std::size_t>(at - room));
  return true;
}

bool ContentCoding::QB_DecodeToUtf8(StringBuffer& value, LogBase& log) {
  LogContextExitor context(log, "QB_DecodeToUtf8");
  DataBuffer out;
  DataBuffer decoded;
  // Decoding makes a text shorter, but for the charsets with one byte a character.
  out.ensureBuffer(value.getSize());
  decoded.ensureBuffer(value.getSize());
  WordWalk walk(value.view());
  std::string_view before;
  Word word;
  while (walk.next(before, word)) {
    out.append(before);
    if (word.payload.empty()) continue;
    decoded.clear();
    decodePayload(*this, word, decoded);
    appendDecoded(word, decoded, out, log);
  }
  out.append(before);
  return value.setString(out.view());
}

bool ContentCoding::QB_Decode(const StringBuffer& value, DataBuffer& out) {
  WordWalk walk(value.view());
  std::string_view before;
  Word word;
  while (walk.next(before, word)) {
    if (!out.append(before) || !decodePayload(*this, word, out)) return false;
  }
  return out.append(before);
}

bool ContentCoding::bEncodeData2(const void* bytes, std::size_t n, std::string_view charset,
                                 StringBuffer& out) {
  return out.append3("=?", charset, "?B?") && encodeBase64_noCrLf(bytes, n, out) &&
         out.append("?=");
}

bool ContentCoding::qEncodeData2(const void* bytes, std::size_t n, std::string_view charset,
                                 StringBuffer& out) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const auto* in = static_cast<const std::uint8_t*>(bytes);
  out.append3("=?", charset, "?Q?");
  char* room = out.reserveTail(n * 3 + 2);
  if (room == nullptr) return false;
  char* at = room;
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint8_t c = in[i];
    if (isPlainInQ(static_cast<char>(c))) {
      *at++ = static_cast<char>(c);
    } else if (c == ' ') {
      *at++ = '_';
    } else {
      *at++ = '=';
      *at++ = kHex[c >> 4];
      *at++ = kHex[c & 15];
    }
  }
  *at++ = '?';
  *at++ = '=';
  out.commitTail(static_cast<std::size_t>(at - room));
  return true;
}

bool qbDecode(StringBuffer& text, LogBase& log) {
  return !hasEncodedWordMark(text.view()) || ContentCoding().QB_DecodeToUtf8(text, log);
}

// ---- Star-encoded parameters

namespace {

/// Into bytes: a text would lose the zero that ends a letter of UTF-16.
bool urlDecode(std::string_view in, DataBuffer& out) {
  if (!out.ensureBuffer(in.size())) return false;
  std::size_t copied = 0;
  std::size_t at = 0;
  while ((at = in.find('%', at)) != std::string_view::npos) {
    const int high = at + 2 < in.size() ? hexValue(in[at + 1]) : -1;
    const int low = high >= 0 ? hexValue(in[at + 2]) : -1;
    if (low < 0) {
      ++at;
      continue;
    }
    out.append(in.substr(copied, at - copied));
    out.appendChar(static_cast<std::uint8_t>(high * 16 + low));
    at += 3;
    copied = at;
  }
  return out.append(in.substr(copied));
}

bool appendDecoded(std::string_view text, int codePage, StringBuffer& out, LogBase& log) {
  DataBuffer bytes;
  if (!urlDecode(text, bytes)) return false;
  if (codePage == 0 || codePage == CharsetNaming::kUtf8) return out.append(bytes);
  DataBuffer converted;
  EncodingConvert convert;
  convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes.view(), converted, log);
  return out.append(converted);
}

}  // namespace

void urlDecodeSb(StringBuffer& text) {
  if (!text.containsChar('%')) return;
  DataBuffer bytes;
  if (urlDecode(text.view(), bytes)) text.setString(bytes.view());
}

bool ContentCoding::decodeStarEncoded(StringBuffer& value, std::string_view charsetDefault,
                                      StringBuffer& out, StringBuffer& charsetOut, LogBase& log) {
  LogContextExitor context(log, "decodeStarEncoded");
  const std::size_t quotes = findBytes(value.view(), "''");
  if (quotes != std::string_view::npos) {
    // The language between the quotes is skipped because it is empty; with one there is no "''".
    StringBuffer charset(value.view().substr(0, value.view().find('\'')));
    charset.toLowerCase();
    charsetOut.setString(charset.view());
    int codePage = CharsetNaming::GetCodePage_p(charset.view());
    if (codePage == 0) codePage = CharsetNaming::kUtf8;
    return appendDecoded(value.view().substr(quotes + 2), codePage, out, log);
  }
  charsetOut.setString(charsetDefault);
  const int codePage =
      charsetDefault.empty() ? CharsetNaming::kUtf8 : CharsetNaming::GetCodePage_p(charsetDefault);
  return appendDecoded(value.view(), codePage, out, log);
}

}  // namespace keldane::mime
