// A header value with encoded words.
#include <cstdint>
#include <string_view>

#include "mime/content_coding.h"
#include "mime/data_buffer.h"
#include "mime/log_base.h"
#include "mime/string_buffer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  LogNull log;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ContentCoding coding;
  StringBuffer value(text);
  coding.QB_DecodeToUtf8(value, log);
  DataBuffer raw;
  coding.QB_Decode(StringBuffer(text), raw);
  StringBuffer words;
  coding.bEncodeData2(data, size, "utf-8", words);
  coding.qEncodeData2(data, size, "utf-8", words);
  coding.QB_DecodeToUtf8(words, log);
  return 0;
}
