// The message written anew.
#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/html_charset.h"
#include "mime/coding/content_coding.h"
#include "mime/email/email.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kCrLf = "\r\n";
constexpr std::size_t kNone = std::string_view::npos;

bool isOneOf(const StringBuffer& text, std::string_view a, std::string_view b) {
  return text.equalsIgnoreCase2(a) || text.equalsIgnoreCase2(b);
}

/// Puts `wanted` in place of the charset that a META tag declares, if one does.
void rewriteMetaCharset(std::string_view wanted, DataBuffer& html) {
  StringBuffer declared;
  if (!_tnHtmlHelp::getCharset(html.view(), declared) || declared.equalsIgnoreCase(wanted)) return;
  const std::string_view text = html.view();
  for (std::size_t tag = findBytesNoCase(text, "<meta"); tag != kNone;
       tag = findBytesNoCase(text, "<meta", tag + 1)) {
    const std::size_t end = text.find('>', tag);
    const std::string_view inside = text.substr(tag, end == kNone ? kNone : end - tag);
    const std::size_t key = findBytesNoCase(inside, "charset");
    const std::size_t at = key == kNone ? kNone : findBytesNoCase(inside, declared.view(), key + 7);
    if (at == kNone) continue;
    DataBuffer changed;
    changed.append(text.substr(0, tag + at));
    changed.append(wanted);
    changed.append(text.substr(tag + at + declared.getSize()));
    html.takeData(changed);
    return;
  }
}

}  // namespace

bool Email2::getMimeText(DataBuffer& out, LogBase& log) {
  const LogContextExitor context(log, "getMimeText");
  safeguardBodies(log);
  DataBuffer text;
  if (!assembleMimeBody2(text, log)) return false;
  return getMimePostProcess(text, log) && (out.isEmpty() ? out.takeData(text) : out.append(text));
}

// Raw 8-bit text does not survive the way into a string, and not every gateway either.
void Email2::safeguardBodies(LogBase& log) {
  if (getNumParts() == 0 && !isOneOf(encoding_, "quoted-printable", "base64")) {
    if (!isMultipart() && isTextOrTypeless()) {
      safeguardText(log);
    } else if (encoding_.equalsIgnoreCase2("binary")) {
      setEncoding("base64", log);
    }
  }
  for (int i = 0; i < getNumParts(); ++i) getPart(i)->safeguardBodies(log);
}

void Email2::safeguardText(LogBase& log) {
  const int codePage = charset_.getCodePage();
  if (isType("text/html")) {
    if (codePage == CharsetNaming::kUsAscii) return;
  } else if (!isOneOf(encoding_, "8bit", "binary") && m_body.is7bit(0)) {
    return;
  }
  if (codePage == 0) {
    setEncoding("quoted-printable", log);
  } else {
    setEncodingViaCodePage(codePage, log);
  }
}

void Email2::setEncodingViaCodePage(int codePage, LogBase& log) {
  if (codePage == CharsetNaming::kUsAscii) {
    setEncoding("7bit", log);
  } else if ((codePage >= 932 && codePage <= 950) || (codePage >= 50220 && codePage <= 54936)) {
    setEncoding("base64", log);
  } else {
    setEncoding("quoted-printable", log);
  }
}

bool Email2::assembleMimeBody2(DataBuffer& out, LogBase& log) {
  const LogContextExitor context(log, "assembleMimeBody2");
  DataBuffer converted;
  const bool isText = getNumParts() == 0 && !isMultipart() && isTextOrTypeless();
  const bool isConverted = isText && charset_.getCodePage() != 0;
  if (isConverted) convertForEmit(converted, log);
  if (contentTypeChanged_) refreshContentTypeHeader(log);
  if (isType("multipart/alternative")) {
    header_.removeMimeField("Content-Transfer-Encoding", true);
  }
  StringBuffer header;
  header_.getMimeHeader(header, {}, charset_.getCodePage(), false, log);
  if (!out.append(header.view()) || !out.append("\r\n\r\n")) return false;
  if (getNumParts() != 0) return assembleParts(out, log);
  return emitLeafBody(isConverted ? converted.view() : m_body.view(), out);
}

bool Email2::assembleParts(DataBuffer& out, LogBase& log) {
  const std::string_view boundary = contentType_.boundary().view();
  for (int i = 0; i < getNumParts(); ++i) {
    out.append("--");
    out.append(boundary);
    out.append(kCrLf);
    if (!getPart(i)->assembleMimeBody2(out, log)) return false;
    out.append(kCrLf);
  }
  return out.append("--") && out.append(boundary) && out.append("--") && out.append(kCrLf);
}

// Back to the declared charset; a text that cannot be written in it goes out as UTF-8.
void Email2::convertForEmit(DataBuffer& converted, LogBase& log) {
  const int declared = charset_.getCodePage();
  const int codePage = declared == CharsetNaming::kUsAscii ? Psdk::getAnsiCodePage() : declared;
  converted.append(m_body);
  if (isType("text/html")) rewriteMetaCharset(charset_.nameView(), converted);
  if (codePage == CharsetNaming::kUtf8) return;
  EncodingConvert convert;
  DataBuffer bytes;
  if (convert.EncConvert(CharsetNaming::kUtf8, codePage, converted.view(), bytes, log)) {
    converted.takeData(bytes);
    return;
  }
  setCodePage(CharsetNaming::kUtf8);
  if (isType("text/html")) rewriteMetaCharset(charset_.nameView(), converted);
}

bool Email2::emitLeafBody(std::string_view body, DataBuffer& out) const {
  ContentCoding coding;
  StringBuffer encoded;
  if (encoding_.equalsIgnoreCase2("base64")) {
    return coding.encodeBase64(body.data(), body.size(), encoded) && out.append(encoded.view());
  }
  if (encoding_.equalsIgnoreCase2("quoted-printable")) {
    return coding.encodeQuotedPrintable(body.data(), body.size(), encoded) &&
           out.append(encoded.view());
  }
  return out.append(body);
}

bool Email2::getMimePostProcess(DataBuffer& out, LogBase& log) const {
  constexpr std::size_t kLookedAt = 50000;
  const int codePage = common_->charset.getCodePage();
  if (codePage == 0 || codePage == CharsetNaming::kUtf8 || out.is7bit(kLookedAt)) return true;
  EncodingConvert convert;
  DataBuffer utf8;
  convert.EncConvert(codePage, CharsetNaming::kUtf8, out.view(), utf8, log);
  return out.takeData(utf8);
}

}  // namespace keldane::mime
