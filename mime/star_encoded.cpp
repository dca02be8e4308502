#include "mime/byte_search.h"
#include "mime/charset_naming.h"
#include "mime/content_coding.h"
#include "mime/data_buffer.h"
#include "mime/encoding_convert.h"
#include "mime/log_base.h"
#include "mime/string_buffer.h"

namespace keldane::mime {
namespace {

bool appendAsUtf8(const StringBuffer& text, int codePage, StringBuffer& out, LogBase& log) {
  if (codePage == 0 || codePage == CharsetNaming::kUtf8) return out.append(text);
  DataBuffer converted;
  EncodingConvert convert;
  convert.EncConvert(codePage, CharsetNaming::kUtf8, text.view(), converted, log);
  return out.append(converted);
}

}  // namespace

void urlDecodeSb(StringBuffer& text) {
  if (!text.containsChar('%')) return;
  const std::string_view in = text.view();
  StringBuffer out;
  out.expectNumBytes(in.size());
  std::size_t copied = 0;
  std::size_t at = 0;
  while ((at = in.find('%', at)) != std::string_view::npos) {
    const int high = at + 2 < in.size() ? hexValue(in[at + 1]) : -1;
    const int low = high >= 0 ? hexValue(in[at + 2]) : -1;
    if (low < 0) {
      ++at;
      continue;
    }
    out.append(in.substr(copied, at - copied));
    out.appendChar(static_cast<char>(high * 16 + low));
    at += 3;
    copied = at;
  }
  out.append(in.substr(copied));
  text.takeSb(out);
}

bool ContentCoding::decodeStarEncoded(StringBuffer& value, std::string_view charsetDefault,
                                      StringBuffer& out, StringBuffer& charsetOut, LogBase& log) {
  LogContextExitor context(log, "decodeStarEncoded");
  const std::size_t quotes = findBytes(value.view(), "''");
  StringBuffer text;
  if (quotes != std::string_view::npos) {
    // The language between the quotes is skipped because it is empty; with one there is no "''".
    StringBuffer charset(value.view().substr(0, value.view().find('\'')));
    charset.toLowerCase();
    charsetOut.setString(charset.view());
    int codePage = CharsetNaming::GetCodePage_p(charset.view());
    if (codePage == 0) codePage = CharsetNaming::kUtf8;
    text.append(value.view().substr(quotes + 2));
    urlDecodeSb(text);
    return appendAsUtf8(text, codePage, out, log);
  }
  charsetOut.setString(charsetDefault);
  text.append(value.view());
  urlDecodeSb(text);
  const int codePage =
      charsetDefault.empty() ? CharsetNaming::kUtf8 : CharsetNaming::GetCodePage_p(charsetDefault);
  return appendAsUtf8(text, codePage, out, log);
}

}  // namespace keldane::mime
