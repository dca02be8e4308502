// The operations of StringBuffer and DataBuffer that change or test the charset of their bytes.
#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/utf_convert.h"

namespace keldane::mime {

namespace {
constexpr int kUtf8 = CharsetNaming::kUtf8;
}

bool StringBuffer::convertEncoding(int fromCodePage, int toCodePage, LogBase& log) {
  if (fromCodePage == toCodePage || fromCodePage == 0 || toCodePage == 0 || length_ == 0) {
    return true;
  }
  if (fromCodePage == CharsetNaming::kUsAscii &&
      (toCodePage == kUtf8 || CharsetNaming::isLatinFamily(toCodePage))) {
    return true;
  }
  if (fromCodePage == 437 && (toCodePage == 1252 || toCodePage == kUtf8 || toCodePage == 28591) &&
      is7bit(0)) {
    return true;
  }
  EncodingConvert convert;
  DataBuffer converted;
  const bool ok = convert.EncConvert(fromCodePage, toCodePage, view(), converted, log);
  return takeFromDb(converted) && ok;
}

bool StringBuffer::convertFromAnsi(int toCodePage) {
  LogNull log;
  return convertEncoding(Psdk::getAnsiCodePage(), toCodePage, log);
}

bool StringBuffer::cvUtf8ToAnsi() {
  LogNull log;
  return convertEncoding(kUtf8, Psdk::getAnsiCodePage(), log);
}

bool StringBuffer::appendFromEncoding(const void* bytes, std::size_t n, int fromCodePage,
                                      int toCodePage, LogBase& log) {
  if (fromCodePage == toCodePage) return appendN(bytes, n);
  EncodingConvert convert;
  DataBuffer converted;
  const bool ok = convert.EncConvert(fromCodePage, toCodePage, bytes, n, converted, log);
  return append(converted) && ok;
}

bool DataBuffer::isReallyUtf8(int codePage) const {
  if (!hasLatinUtf8Shape(view())) return false;
  EncodingConvert convert;
  DataBuffer trial;
  LogNull log;
  return !convert.EncConvert(codePage, kUtf8, view(), trial, log);
}

bool DataBuffer::cvUnicodeToUtf8_db(DataBuffer& out) const {
  if (&out == this) return false;
  out.clear();
  EncodingConvert convert;
  LogNull log;
  return convert.EncConvert(1200, kUtf8, view(), out, log);
}

bool DataBuffer::cvUnicodeToUtf8(StringBuffer& out) const {
  DataBuffer converted;
  const bool ok = cvUnicodeToUtf8_db(converted);
  return out.takeFromDb(converted) && ok;
}

}  // namespace keldane::mime
