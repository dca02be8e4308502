// Bodies in base64, quoted-printable and uuencode; what we encode must decode to itself.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "mime/content_coding.h"
#include "mime/data_buffer.h"
#include "mime/string_buffer.h"
#include "mime/uu.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  const char* text = reinterpret_cast<const char*>(data);
  ContentCoding coding;
  DataBuffer out;
  coding.decodeBase64ToDb(text, size, out);
  coding.decodeQuotedPrintable(text, size, out);
  coding.setEntityMode(true);
  coding.decodeQuotedPrintable(text, size, out);
  StringBuffer name;
  std::string_view rest(text, size);
  for (int files = 0; files < 100; ++files) {
    const std::size_t end = Uu::uu_decode2(rest, out, name);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end);
  }
  StringBuffer encoded;
  coding.encodeBase64(data, size, encoded);
  DataBuffer back;
  coding.decodeBase64ToDb(encoded.getString(), encoded.getSize(), back);
  if (back.getSize() != size || (size != 0 && std::memcmp(back.getData2(), data, size) != 0)) {
    std::abort();
  }
  encoded.clear();
  coding.encodeQuotedPrintable(data, size, encoded);
  return 0;
}
