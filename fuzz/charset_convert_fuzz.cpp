// Bytes from one code page to another; the first two bytes choose the pages.
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "fuzz/check.h"
#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/encoding_convert.h"

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
  const int from = kPages[data[0] % kPages.size()];
  const int to = kPages[data[1] % kPages.size()];
  convert.EncConvert(from, to, data + 3, size - 3, out, log);
  // A byte becomes an entity of ten characters of four bytes at most.
  KELDANE_CHECK(out.getSize() <= 40 * size + 100);

  // NUL bytes are no text and go; a PDF that travels as text is left alone.
  std::string text(reinterpret_cast<const char*>(data + 3), size - 3);
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
  if (text.starts_with("%PDF-1")) return 0;

  // From one byte a character to UTF-8, and back: valid, and the same when nothing was dropped.
  static constexpr std::array<int, 12> kSingleByte = {1252, 1250, 1251,  1253,  1254,  1257,
                                                      437,  874,  28591, 28592, 28595, 20866};
  const int page = kSingleByte[data[0] % kSingleByte.size()];
  EncodingConvert plain;
  DataBuffer utf8;
  plain.EncConvert(page, 65001, data + 3, size - 3, utf8, log);
  KELDANE_CHECK(isValidUtf8(utf8.view()));
  const bool isWhole = !plain.foundErrors();
  DataBuffer back;
  plain.EncConvert(65001, page, utf8.view(), back, log);
  if (isWhole) KELDANE_CHECK(back.view() == text);
  return 0;
}
