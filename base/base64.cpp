#include "base/base64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace keldane {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> makeValues() {
  std::array<std::int8_t, 256> values{};
  for (auto& value : values) value = -1;
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  }
  return values;
}

constexpr std::array<std::int8_t, 256> kValues = makeValues();

constexpr std::size_t kLineBytes = 60;

}  // namespace

void appendBase64(std::string& text, std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
    unsigned group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? kAlphabet[group >> (18 - 6 * i) & 0x3FU] : '=';
    }
  }
}

void encodeBase64Lines(std::string_view bytes, std::string& text) {
  text.reserve(text.size() + (bytes.size() / kLineBytes + 1) * (kLineBytes / 3 * 4 + 1));
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kLineBytes))) {
    const std::string_view line = bytes.substr(0, kLineBytes);
    appendBase64(text, line);
    // A line is full when its last group is, padded or not.
    if (line.size() > kLineBytes - 3) text += '\n';
  }
}

std::string decodeBase64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    if (c == '=') break;
    const std::int8_t value = kValues[static_cast<unsigned char>(c)];
    if (value < 0) continue;
    bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>((bits >> static_cast<unsigned>(count)) & 0xFFU);
  }
  return bytes;
}

}  // namespace keldane
