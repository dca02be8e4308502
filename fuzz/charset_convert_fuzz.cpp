// Bytes from one code page to another; the first two bytes choose the pages.
#include <array>
#include <cstdint>

#include "mime/data_buffer.h"
#include "mime/encoding_convert.h"
#include "mime/log_base.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  static constexpr std::array<int, 40> kPages = {
      1252,  1250,  1251,  1253,  1254,  1255,  1256,  1257,  1258,  28591,
      28592, 28595, 28605, 20127, 65001, 65000, 1200,  1201,  12000, 12001,
      932,   936,   949,   950,   1361,  51932, 51949, 50220, 50221, 50222,
      50225, 52936, 55000, 10000, 10004, 20866, 437,   37,    874,   1};
  if (size < 3) return 0;
  LogNull log;
  DataBuffer out;
  EncodingConvert convert;
  convert.setErrorAction(data[2] % 9);
  convert.setDefBytes("?", 1);
  convert.EncConvert(kPages[data[0] % kPages.size()], kPages[data[1] % kPages.size()], data + 3,
                     size - 3, out, log);
  return 0;
}
