// A star-encoded parameter value, with and without a default charset.
#include <cstdint>
#include <string_view>

#include "mime/content_coding.h"
#include "mime/log_base.h"
#include "mime/string_buffer.h"

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
  return 0;
}
