#include "mime/charsets/encoding_convert.h"

#include <algorithm>
#include <cstring>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/code_pages.h"
#include "mime/charsets/convert_job.h"
#include "mime/charsets/utf_convert.h"

namespace keldane::mime {

namespace {
constexpr int kUtf8 = CharsetNaming::kUtf8;
}

bool EncodingConvert::EncConvert(int fromCodePage, int toCodePage, const void* bytes, std::size_t n,
                                 DataBuffer& out, LogBase& log) {
  if (!out.isValidObject()) {
    Psdk::badObjectFound(log);
    return false;
  }
  const LogContextExitor context(log, "EncConvert");
  foundErrors_ = false;
  if (log.verbose()) {
    log.LogDataLong("fromCodePage", fromCodePage);
    log.LogDataLong("toCodePage", toCodePage);
  }
  ErrorPolicy policy;
  policy.action = errorAction_;
  policy.altDestCodePage = altDestCodePage_;
  policy.defBytes = defBytes_;
  policy.numDefBytes = numDefBytes_;
  ConvertJob job(policy, log);
  const bool ok =
      job.convert(fromCodePage, toCodePage, static_cast<const std::uint8_t*>(bytes), n, out);
  foundErrors_ = job.foundErrors();
  return ok;
}

bool EncodingConvert::ChConvert2(StringBuffer& fromName, int toCodePage, const void* bytes,
                                 std::size_t n, DataBuffer& out, LogBase& log) {
  const int from = CharsetNaming::GetCodePage(fromName);
  return from != 0 && EncConvert(from, toCodePage, bytes, n, out, log);
}

bool EncodingConvert::ChConvert3(int fromCodePage, StringBuffer& toName, const void* bytes,
                                 std::size_t n, DataBuffer& out, LogBase& log) {
  const int to = CharsetNaming::GetCodePage(toName);
  return to != 0 && EncConvert(fromCodePage, to, bytes, n, out, log);
}

bool EncodingConvert::ChConvert2p(std::string_view fromName, int toCodePage, const void* bytes,
                                  std::size_t n, DataBuffer& out, LogBase& log) {
  StringBuffer name(fromName);
  return ChConvert2(name, toCodePage, bytes, n, out, log);
}

bool EncodingConvert::ChConvert3p(int fromCodePage, std::string_view toName, const void* bytes,
                                  std::size_t n, DataBuffer& out, LogBase& log) {
  StringBuffer name(toName);
  return ChConvert3(fromCodePage, name, bytes, n, out, log);
}

bool EncodingConvert::AnsiToMultiByte(int toCodePage, const void* bytes, std::size_t n,
                                      DataBuffer& out, LogBase& log) {
  return EncConvert(Psdk::getAnsiCodePage(), toCodePage, bytes, n, out, log);
}

bool EncodingConvert::MultiByteToAnsi(int fromCodePage, const void* bytes, std::size_t n,
                                      DataBuffer& out, LogBase& log) {
  return EncConvert(fromCodePage, Psdk::getAnsiCodePage(), bytes, n, out, log);
}

bool EncodingConvert::OemToMultiByte(int toCodePage, const void* bytes, std::size_t n,
                                     DataBuffer& out, LogBase& log) {
  return EncConvert(Psdk::getOemCodePage(), toCodePage, bytes, n, out, log);
}

bool EncodingConvert::MultiByteToOem(int fromCodePage, const void* bytes, std::size_t n,
                                     DataBuffer& out, LogBase& log) {
  return EncConvert(fromCodePage, Psdk::getOemCodePage(), bytes, n, out, log);
}

void EncodingConvert::setDefBytes(const void* bytes, std::size_t n) {
  numDefBytes_ = bytes ? static_cast<std::uint32_t>(std::min(n, kMaxDefBytes)) : 0;
  if (numDefBytes_ != 0) std::memcpy(defBytes_, bytes, numDefBytes_);
}

void EncodingConvert::cleanupMemory() { code_pages::cleanup(); }

bool convertEncoding(StringBuffer& text, int fromCodePage, int toCodePage, LogBase& log) {
  if (fromCodePage == toCodePage || fromCodePage == 0 || toCodePage == 0 || text.isEmpty()) {
    return true;
  }
  if (fromCodePage == CharsetNaming::kUsAscii &&
      (toCodePage == kUtf8 || CharsetNaming::isLatinFamily(toCodePage))) {
    return true;
  }
  if (fromCodePage == 437 && (toCodePage == 1252 || toCodePage == kUtf8 || toCodePage == 28591) &&
      text.is7bit(0)) {
    return true;
  }
  EncodingConvert convert;
  DataBuffer converted;
  const bool ok = convert.EncConvert(fromCodePage, toCodePage, text.view(), converted, log);
  return text.takeFromDb(converted) && ok;
}

bool convertFromAnsi(StringBuffer& text, int toCodePage) {
  LogNull log;
  return convertEncoding(text, Psdk::getAnsiCodePage(), toCodePage, log);
}

bool cvUtf8ToAnsi(StringBuffer& text) {
  LogNull log;
  return convertEncoding(text, kUtf8, Psdk::getAnsiCodePage(), log);
}

bool isReallyUtf8(const DataBuffer& bytes, int codePage) {
  if (!hasLatinUtf8Shape(bytes.view())) return false;
  EncodingConvert convert;
  DataBuffer trial;
  LogNull log;
  return !convert.EncConvert(codePage, kUtf8, bytes.view(), trial, log);
}

bool cvUnicodeToUtf8_db(const DataBuffer& utf16, DataBuffer& out) {
  if (&out == &utf16) return false;
  out.clear();
  EncodingConvert convert;
  LogNull log;
  return convert.EncConvert(1200, kUtf8, utf16.view(), out, log);
}

bool cvUnicodeToUtf8(const DataBuffer& utf16, StringBuffer& out) {
  DataBuffer converted;
  const bool ok = cvUnicodeToUtf8_db(utf16, converted);
  return out.takeFromDb(converted) && ok;
}

}  // namespace keldane::mime
