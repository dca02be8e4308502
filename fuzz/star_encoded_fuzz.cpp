// A star-encoded parameter value, with and without a default charset.
#include <cstdint>
#include <string_view>

#include "fuzz/check.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const char* charset : {"", "iso-8859-1", "shift_jis", "bogus"}) {
    ContentCoding coding;
    StringBuffer value(text);
    StringBuffer out;
    StringBuffer label;
    coding.decodeStarEncoded(value, charset, out, label, log);
  }
  // Every byte in its percent form comes back as it was.
  if (text.find('\0') != std::string_view::npos) return 0;
  static constexpr char kHex[] = "0123456789abcdef";
  StringBuffer encoded("utf-8''");
  for (const char c : text) {
    encoded.appendChar('%');
    encoded.appendChar(kHex[static_cast<unsigned char>(c) >> 4]);
    encoded.appendChar(kHex[static_cast<unsigned char>(c) & 15]);
  }
  StringBuffer back;
  StringBuffer label;
  ContentCoding().decodeStarEncoded(encoded, "iso-8859-1", back, label, log);
  KELDANE_CHECK(back.view() == text && label.view() == "utf-8");
  return 0;
}
