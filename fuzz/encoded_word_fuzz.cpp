// A header value with encoded words.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ContentCoding coding;
  StringBuffer value(text);
  coding.QB_DecodeToUtf8(value, log);
  DataBuffer raw;
  coding.QB_Decode(StringBuffer(text), raw);
  // A text without a word is its own reading; it ends at its first NUL byte.
  const StringBuffer held(text);
  if (held.view().find("=?") == std::string_view::npos &&
      held.view().find_first_not_of(" \t") != std::string_view::npos) {
    KELDANE_CHECK(value.view() == held.view());
  }
  // What we encode decodes to itself, but for NUL bytes, which no header value holds.
  std::string plain(text);
  plain.erase(std::remove(plain.begin(), plain.end(), '\0'), plain.end());
  StringBuffer words;
  coding.bEncodeData2(data, size, "utf-8", words);
  words.appendChar(' ');
  coding.qEncodeData2(data, size, "utf-8", words);
  coding.QB_DecodeToUtf8(words, log);
  KELDANE_CHECK(words.view() == plain + plain);
  return 0;
}
