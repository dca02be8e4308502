#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/content_coding.h"

namespace keldane::mime {
namespace {

/// Into bytes: a text would lose the zero that ends a letter of UTF-16.
bool urlDecode(std::string_view in, DataBuffer& out) {
  if (!out.ensureBuffer(in.size())) return false;
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
    out.appendChar(static_cast<std::uint8_t>(high * 16 + low));
    at += 3;
    copied = at;
  }
  return out.append(in.substr(copied));
}

bool appendDecoded(std::string_view text, int codePage, StringBuffer& out, LogBase& log) {
  DataBuffer bytes;
  if (!urlDecode(text, bytes)) return false;
  if (codePage == 0 || codePage == CharsetNaming::kUtf8) return out.append(bytes);
  DataBuffer converted;
  EncodingConvert convert;
  convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes.view(), converted, log);
  return out.append(converted);
}

}  // namespace

void urlDecodeSb(StringBuffer& text) {
  if (!text.containsChar('%')) return;
  DataBuffer bytes;
  if (urlDecode(text.view(), bytes)) text.setString(bytes.view());
}

bool ContentCoding::decodeStarEncoded(StringBuffer& value, std::string_view charsetDefault,
                                      StringBuffer& out, StringBuffer& charsetOut, LogBase& log) {
  LogContextExitor context(log, "decodeStarEncoded");
  const std::size_t quotes = findBytes(value.view(), "''");
  if (quotes != std::string_view::npos) {
    // The language between the quotes is skipped because it is empty; with one there is no "''".
    StringBuffer charset(value.view().substr(0, value.view().find('\'')));
    charset.toLowerCase();
    charsetOut.setString(charset.view());
    int codePage = CharsetNaming::GetCodePage_p(charset.view());
    if (codePage == 0) codePage = CharsetNaming::kUtf8;
    return appendDecoded(value.view().substr(quotes + 2), codePage, out, log);
  }
  charsetOut.setString(charsetDefault);
  const int codePage =
      charsetDefault.empty() ? CharsetNaming::kUtf8 : CharsetNaming::GetCodePage_p(charsetDefault);
  return appendDecoded(value.view(), codePage, out, log);
}

}  // namespace keldane::mime
