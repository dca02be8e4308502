#include "mime/email/email_emit.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/html_charset.h"
#include "mime/coding/content_coding.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kCrLf = "\r\n";
constexpr std::size_t kNone = std::string_view::npos;

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

void setEncodingViaCodePage(Email2& email, int codePage, LogBase& log) {
  if (codePage == CharsetNaming::kUsAscii) {
    email.setEncoding("7bit", log);
  } else if ((codePage >= 932 && codePage <= 950) || (codePage >= 50220 && codePage <= 54936)) {
    email.setEncoding("base64", log);
  } else {
    email.setEncoding("quoted-printable", log);
  }
}

void safeguardText(Email2& email, LogBase& log) {
  const int codePage = email.charset().getCodePage();
  if (email.isType("text/html")) {
    if (codePage == CharsetNaming::kUsAscii) return;
  } else if (!email.hasEncoding("8bit") && !email.hasEncoding("binary") && email.body().is7bit(0)) {
    return;
  }
  if (codePage == 0) {
    email.setEncoding("quoted-printable", log);
  } else {
    setEncodingViaCodePage(email, codePage, log);
  }
}

// Raw 8-bit text does not survive the way into a string, and not every gateway either.
void safeguardBodies(Email2& email, LogBase& log) {
  if (email.getNumParts() == 0 && !email.hasEncoding("quoted-printable") &&
      !email.hasEncoding("base64")) {
    if (!email.isMultipart() && email.isTextOrTypeless()) {
      safeguardText(email, log);
    } else if (email.hasEncoding("binary")) {
      email.setEncoding("base64", log);
    }
  }
  for (int i = 0; i < email.getNumParts(); ++i) safeguardBodies(*email.getPart(i), log);
}

// Back to the declared charset; a text that cannot be written in it goes out as UTF-8.
void convertForEmit(Email2& email, DataBuffer& converted, LogBase& log) {
  const int declared = email.charset().getCodePage();
  const int codePage = declared == CharsetNaming::kUsAscii ? Psdk::getAnsiCodePage() : declared;
  converted.append(email.body());
  if (email.isType("text/html")) rewriteMetaCharset(email.charset().nameView(), converted);
  if (codePage == CharsetNaming::kUtf8) return;
  EncodingConvert convert;
  DataBuffer bytes;
  if (convert.EncConvert(CharsetNaming::kUtf8, codePage, converted.view(), bytes, log)) {
    converted.takeData(bytes);
    return;
  }
  email.setCodePage(CharsetNaming::kUtf8);
  if (email.isType("text/html")) rewriteMetaCharset(email.charset().nameView(), converted);
}

bool emitLeafBody(const Email2& email, std::string_view body, DataBuffer& out) {
  ContentCoding coding;
  StringBuffer encoded;
  if (email.hasEncoding("base64")) {
    return coding.encodeBase64(body.data(), body.size(), encoded) && out.append(encoded.view());
  }
  if (email.hasEncoding("quoted-printable")) {
    return coding.encodeQuotedPrintable(body.data(), body.size(), encoded) &&
           out.append(encoded.view());
  }
  return out.append(body);
}

bool getMimePostProcess(const Email2& email, DataBuffer& out, LogBase& log) {
  constexpr std::size_t kLookedAt = 50000;
  const int codePage = email.common().charset.getCodePage();
  if (codePage == 0 || codePage == CharsetNaming::kUtf8 || out.is7bit(kLookedAt)) return true;
  EncodingConvert convert;
  DataBuffer utf8;
  convert.EncConvert(codePage, CharsetNaming::kUtf8, out.view(), utf8, log);
  return out.takeData(utf8);
}

bool assembleMimeBody2(Email2& email, DataBuffer& out, LogBase& log);

bool assembleParts(Email2& email, DataBuffer& out, LogBase& log) {
  const std::string_view boundary = email.boundary();
  for (int i = 0; i < email.getNumParts(); ++i) {
    out.append("--");
    out.append(boundary);
    out.append(kCrLf);
    if (!assembleMimeBody2(*email.getPart(i), out, log)) return false;
    out.append(kCrLf);
  }
  return out.append("--") && out.append(boundary) && out.append("--") && out.append(kCrLf);
}

bool assembleMimeBody2(Email2& email, DataBuffer& out, LogBase& log) {
  const LogContextExitor context(log, "assembleMimeBody2");
  DataBuffer converted;
  const bool isText = email.getNumParts() == 0 && !email.isMultipart() && email.isTextOrTypeless();
  const bool isConverted = isText && email.charset().getCodePage() != 0;
  if (isConverted) convertForEmit(email, converted, log);
  if (email.contentTypeChanged()) email.refreshContentTypeHeader(log);
  if (email.isType("multipart/alternative")) {
    email.header_rw().removeMimeField("Content-Transfer-Encoding", true);
  }
  StringBuffer header;
  email.header_rw().getMimeHeader(header, {}, email.charset().getCodePage(), false, log);
  if (!out.append(header.view()) || !out.append("\r\n\r\n")) return false;
  if (email.getNumParts() != 0) return assembleParts(email, out, log);
  return emitLeafBody(email, isConverted ? converted.view() : email.body().view(), out);
}

}  // namespace

bool getMimeText(Email2& email, DataBuffer& out, LogBase& log) {
  const LogContextExitor context(log, "getMimeText");
  safeguardBodies(email, log);
  DataBuffer text;
  if (!assembleMimeBody2(email, text, log)) return false;
  return getMimePostProcess(email, text, log) &&
         (out.isEmpty() ? out.takeData(text) : out.append(text));
}

}  // namespace keldane::mime
