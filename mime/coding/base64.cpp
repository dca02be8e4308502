#include <array>
#include <limits>
#include <new>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"

namespace keldane::mime {
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

}  // namespace keldane::mime
