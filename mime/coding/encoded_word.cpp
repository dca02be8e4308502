#include <cstring>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/content_coding.h"

namespace keldane::mime {
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

}  // namespace keldane::mime
