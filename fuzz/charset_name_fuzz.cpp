// A charset's name.
#include <cstdint>
#include <string_view>

#include "fuzz/check.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/tn_charset.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane::mime;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  StringBuffer name(text);
  const int codePage = CharsetNaming::GetCodePage(name);
  StringBuffer canonical;
  CharsetNaming::GetCharsetName(codePage, canonical);
  _tnCharset charset;
  const bool known = charset.setByName(text);
  // A charset has a page and a name, or neither; "default" is known, and is none.
  KELDANE_CHECK(known || charset.getCodePage() == 0);
  KELDANE_CHECK((charset.getCodePage() != 0) == !charset.nameView().empty());
  // A page's own name leads back to it.
  if (!canonical.isEmpty()) KELDANE_CHECK(CharsetNaming::GetCodePage(canonical) == codePage);
  return 0;
}
