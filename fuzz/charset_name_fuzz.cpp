// A charset's name.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "mime/charset_naming.h"
#include "mime/string_buffer.h"
#include "mime/tn_charset.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  StringBuffer name(text);
  const int codePage = CharsetNaming::GetCodePage(name);
  StringBuffer canonical;
  CharsetNaming::GetCharsetName(codePage, canonical);
  _tnCharset charset;
  const bool known = charset.setByName(text);
  // A charset has a page and a name, or neither.
  if (!known && charset.getCodePage() != 0) std::abort();
  return 0;
}
