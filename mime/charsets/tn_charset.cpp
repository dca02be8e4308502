#include "mime/charsets/tn_charset.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_naming.h"

namespace keldane::mime {

namespace {

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

}  // namespace

void _tnCharset::clear() {
  name_.weakClear();
  codePage_ = 0;
  preamble_ = kPreambleAsNamed;
}

void _tnCharset::copy(const _tnCharset& other) {
  if (&other == this) return;
  name_.setString(other.name_);
  codePage_ = other.codePage_;
  preamble_ = other.preamble_;
}

bool _tnCharset::setByCodePage(int codePage) {
  codePage_ = codePage;
  if (codePage == 0) {
    name_.weakClear();
    return true;
  }
  return CharsetNaming::GetCharsetName(codePage, name_);
}

bool _tnCharset::setByName(std::string_view name) {
  clear();
  if (name.empty()) name = "ansi";
  int preamble = kPreambleAsNamed;
  if (takePrefix(name, "bom-") || takePrefix(name, "bom:")) {
    preamble = kPreambleWanted;
  } else if (takePrefix(name, "no-bom-") || takePrefix(name, "no-bom:")) {
    preamble = kPreambleUnwanted;
  }
  if (name == "default" || name == "x-user-defined") return true;
  int codePage = 0;
  if (equalsNoCase(name, "ansi")) {
    codePage = Psdk::getAnsiCodePage();
  } else if (equalsNoCase(name, "oem")) {
    codePage = Psdk::getOemCodePage();
  } else {
    codePage = CharsetNaming::GetCodePage_p(name);
  }
  if (codePage == 0) return false;
  preamble_ = preamble;
  setByCodePage(codePage);
  return true;
}

}  // namespace keldane::mime
