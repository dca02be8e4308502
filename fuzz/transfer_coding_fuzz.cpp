// Bodies in base64, quoted-printable and uuencode; what we encode must decode to itself.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/uu.h"

namespace {

using namespace keldane::mime;

/// A text: its line ends come back as CR LF, all else as it was.
void checkQuotedPrintable(std::string_view text) {
  StringBuffer wanted(text);
  wanted.toCRLF();
  const std::string expected(wanted.view());
  // Read as the one byte that some encoders write so.
  if (expected.find("\xFF"
                    "FFFF") != std::string::npos)
    return;
  ContentCoding coding;
  StringBuffer encoded;
  coding.encodeQuotedPrintable(expected.data(), expected.size(), encoded);
  DataBuffer back;
  coding.decodeQuotedPrintable(encoded.getString(), encoded.getSize(), back);
  KELDANE_CHECK(back.view() == expected);
}

/// Encoded here as every encoder does it, 45 bytes a line.
void checkUuencode(std::string_view bytes) {
  const auto digit = [](unsigned value) {
    return static_cast<char>((value & 63U) == 0 ? '`' : 32 + (value & 63U));
  };
  std::string text = "begin 644 a\n";
  for (std::string_view rest = bytes; !rest.empty();) {
    const std::string_view line = rest.substr(0, 45);
    rest.remove_prefix(line.size());
    text += digit(static_cast<unsigned>(line.size()));
    for (std::size_t i = 0; i < line.size(); i += 3) {
      unsigned three = 0;
      for (std::size_t k = i; k < i + 3; ++k) {
        three = three << 8U | (k < line.size() ? static_cast<unsigned char>(line[k]) : 0U);
      }
      for (unsigned shift = 24; shift > 0;) text += digit(three >> (shift -= 6));
    }
    text += '\n';
  }
  text += "`\nend\n";
  DataBuffer back;
  StringBuffer name;
  KELDANE_CHECK(Uu::uu_decode2(text, back, name) != std::string_view::npos);
  KELDANE_CHECK(back.view() == bytes && name.view() == "a");
}

}  // namespace

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
  const std::string_view input(text, size);
  KELDANE_CHECK(back.view() == input);
  for (const std::size_t n : {size / 2, size}) checkQuotedPrintable(input.substr(0, n));
  checkUuencode(input);
  return 0;
}
