#include "mime/charsets/charset_naming.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_names.h"

namespace keldane::mime {

namespace {
constexpr std::size_t kShortestName = 3;
constexpr std::size_t kLongestName = 64;

int pageOf(std::string_view normalised) {
  // Shorter than any charset name but "l1" and the like, which thereby mean the ANSI page: kept.
  if (normalised.size() < kShortestName || normalised == "ansi") return Psdk::getAnsiCodePage();
  return charset_names::findPage(normalised);
}

}  // namespace

int CharsetNaming::GetCodePage(StringBuffer& name) {
  name.trim2();
  name.toLowerCase();
  name.replaceCharAnsi('_', '-');
  // "no-bom-utf-8" thereby becomes "no-utf-8", an unknown name: kept. _tnCharset takes both
  // prefixes off before it asks.
  name.replaceFirstOccurance("bom-", "", false);
  name.replaceFirstOccurance("no-bom-", "", false);
  name.removeCharOccurances('"');
  name.removeCharOccurances('\'');
  return pageOf(name.view());
}

int CharsetNaming::GetCodePage_p(std::string_view name) {
  name = trimmed(name);
  // The end of a text is never a NUL, and so it is for the form above.
  while (!name.empty() && name.back() == '\0') name.remove_suffix(1);
  char plain[kLongestName];
  std::size_t size = 0;
  for (const char c : name.substr(0, kLongestName)) {
    if (c != '"' && c != '\'') plain[size++] = c == '_' ? '-' : asciiLower(c);
  }
  // Quotes inside a prefix are the one thing in which this pass differs from the steps above.
  if (name.size() <= kLongestName && !containsBytes({plain, size}, "bom-")) {
    return pageOf({plain, size});
  }
  StringBuffer copy(name);
  return GetCodePage(copy);
}

std::string_view CharsetNaming::charsetName(int codePage) {
  return charset_names::findCanonicalName(codePage);
}

bool CharsetNaming::GetCharsetName(int codePage, StringBuffer& out) {
  const std::string_view name = charsetName(codePage);
  return out.setString(name) && !name.empty();
}

bool CharsetNaming::GetAnsiCharset(StringBuffer& out) {
  return GetCharsetName(Psdk::getAnsiCodePage(), out);
}

}  // namespace keldane::mime
