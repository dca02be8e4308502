#include "mime/charsets/encoding_convert.h"

#include <algorithm>
#include <cstring>

#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/code_pages.h"
#include "mime/charsets/convert_job.h"

namespace keldane::mime {

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

}  // namespace keldane::mime
