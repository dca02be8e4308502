#include <cstring>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"

namespace keldane::mime {
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

}  // namespace keldane::mime
