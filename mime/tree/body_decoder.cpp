#include "mime/tree/body_decoder.h"

#include "mime/buffers/byte_search.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/html_charset.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/uu.h"

namespace keldane::mime {

namespace {

constexpr int kUtf8 = CharsetNaming::kUtf8;
constexpr int kUsAscii = CharsetNaming::kUsAscii;
constexpr int kLatin1 = 28591;
constexpr int kWindowsLatin1 = 1252;
constexpr int kUtf16Le = 1200;
constexpr int kUtf16Be = 1201;
/// How far a body is looked at to tell plain ASCII.
constexpr std::size_t kAsciiProbe = 8192;
constexpr std::size_t kUtf8LabelProbe = 8000;
constexpr std::size_t kNulProbe = 1000;

bool contains(std::string_view value, std::string_view text) {
  return containsBytesNoCase(value, text);
}

bool hasNul(std::string_view bytes) { return bytes.find('\0') != std::string_view::npos; }

/// UTF-16 and UTF-32, where a NUL byte means nothing and an ASCII entity cannot occur.
bool isWide(int codePage) {
  return codePage == kUtf16Le || codePage == kUtf16Be || codePage == 12000 || codePage == 12001;
}

bool beginsWithBom(std::string_view bytes) {
  return bytes.size() >= 3 && (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF") ||
                               bytes.starts_with("\xEF\xBB\xBF") ||
                               bytes.starts_with(std::string_view("\0\0\xFE\xFF", 4)));
}

/// Pages whose quoted-printable text is never taken for UTF-8 with a wrong label.
bool isTrustedLabel(int codePage) {
  switch (codePage) {
    case 932:
    case 936:
    case 949:
    case 950:
    case 28595:
    case 28597:
    case 51932:
    case 51949:
    case 52936:
      return true;
    default:
      return false;
  }
}

/// A byte that ISO Latin-1 leaves to control codes and Windows uses for quotes, dashes and the
/// like. The very last byte is not looked at: a text that has one only there stays as declared.
bool hasWindowsBytes(std::string_view text) {
  if (text.empty()) return false;
  for (const char c : text.substr(0, text.size() - 1)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x82 && byte <= 0x9F) return true;
  }
  return false;
}

/// A text that is ASCII to look at and something else by its label.
bool isSevenBitForm(std::string_view text, int codePage) {
  return isSevenBitCharset(codePage) && isAllAscii(text);
}

/// Room that the decoders ask for, taken beforehand because a buffer left to itself grows in steps
/// made for large bodies.
constexpr std::size_t base64Room(std::size_t n) { return n / 4 * 3 + 4; }
constexpr std::size_t quotedPrintableRoom(std::size_t n) { return n + n / 8 + 64; }

bool beginsWithXHtml(std::string_view body) {
  while (!body.empty() && isEngineSpace(body.front())) body.remove_prefix(1);
  return beginsWithNoCase(body, "<x-html>");
}

}  // namespace

/// A multipart whose parts were not found keeps all its text, still in its transfer encoding.
void BodyDecoder::keepUnparsed(std::string_view body) {
  setRawBody(body, entity_.charset.getCodePage(), true);
}

void BodyDecoder::parseSinglePart(std::string_view body) {
  const int declared = entity_.charset.getCodePage();
  if (job_.charsetClue.isEmpty() && declared != 0 && declared != kUsAscii && declared != kUtf8) {
    job_.charsetClue.setString(entity_.charset.nameView());
    if (job_.log.verbose()) job_.log.LogDataSb("charsetClue", job_.charsetClue);
  }
  const StringBuffer* field = entity_.header.getMimeFieldValue("content-type");
  const std::string_view value = field ? field->view() : std::string_view();
  clearCharsetOfBinary(value);
  const bool isText = isTextBody(value, body);

  int codePage = entity_.charset.getCodePage();
  if (codePage == 0 && !entity_.isAttachment && contains(value, "text/html")) {
    codePage = adoptMetaCharset(body, isText);
  } else if (codePage == kUsAscii) {
    codePage = kLatin1;
  }
  setMimeBodyByEncoding(body, codePage, isText);
  if (wasReally1252_) entity_.charset.setByName("windows-1252");
  if (beginsWithXHtml(body) && !entity_.contentType.contentType().beginsWith("text/html")) {
    isReallyHtml_ = true;
  }
}

void BodyDecoder::clearCharsetOfBinary(std::string_view value) {
  const bool binary =
      contains(value, "image/") || contains(value, "audio/") || contains(value, "video/") ||
      (contains(value, "application/") && !contains(value, "xml") && !contains(value, "json"));
  if (binary) {
    job_.log.LogInfo("clearing charset based on content-type.");
    job_.log.LogInfo("treating body as binary (non-character) data.");
    entity_.charset.clear();
  }
  if (entity_.isAttachment) {
    job_.log.LogInfo("treating body as binary data because of attachment status.");
    entity_.charset.clear();
  }
}

bool BodyDecoder::isTextBody(std::string_view value, std::string_view body) const {
  if (entity_.isAttachment) return false;
  if (value.empty()) return !hasNul(body);
  if (!contains(value, "text/") && !contains(value, "application/xml")) return false;
  const int codePage = entity_.charset.getCodePage();
  return codePage == kUtf16Le || codePage == kUtf16Be || !hasNul(body);
}

/// An HTML text without a declared charset: looks for the one in its head. Leaves the decoded body
/// in place, so that it is decoded once, and answers the page to convert from.
int BodyDecoder::adoptMetaCharset(std::string_view body, bool isText) {
  job_.log.LogInfo("No charset specified.  Trying to get HTML charset via META tag..");
  std::string_view html = body;
  ContentCoding coding;
  if (entity_.encoding.equalsIgnoreCase("base64")) {
    isDecoded_ = entity_.body.ensureBuffer(base64Room(body.size())) &&
                 coding.decodeBase64ToDb(body.data(), body.size(), entity_.body);
    html = entity_.body.view();
  } else if (entity_.encoding.equalsIgnoreCase("quoted-printable")) {
    coding.setEntityMode(isText);
    isDecoded_ = entity_.body.ensureBuffer(quotedPrintableRoom(body.size())) &&
                 coding.decodeQuotedPrintable(body.data(), body.size(), entity_.body);
    html = entity_.body.view();
  }
  StringBuffer name;
  if (!_tnHtmlHelp::getCharset(html, name)) return 0;
  if (job_.log.verbose()) job_.log.LogDataSb("charsetFromMetaTag", name);
  if ((name.beginsWithIgnoreCase("unicode") || name.beginsWithIgnoreCase("utf-16")) &&
      !hasNul(html.substr(0, kNulProbe))) {
    job_.log.LogInfo("Must not really be unicode HTML, no zero bytes found...");
    name.setString("windows-1252");
  }
  entity_.charset.setByName(name.view());
  return entity_.charset.getCodePage();
}

void BodyDecoder::setMimeBodyByEncoding(std::string_view data, int codePage, bool isText) {
  if (entity_.encoding.equalsIgnoreCase("base64")) {
    setMimeBodyBase64(data, codePage, isText);
    return;
  }
  if (entity_.encoding.equalsIgnoreCase("quoted-printable")) {
    setMimeBodyQP(data, codePage, isText);
    return;
  }
  if (entity_.encoding.equalsIgnoreCase("uuencode")) {
    setMimeBodyUu(data, codePage, isText);
    return;
  }
  setRawBody(data, codePage, isText);
  if (entity_.encoding.equalsIgnoreCase("binary") &&
      entity_.contentType.contentType().equals("message/rfc822")) {
    newEncoding_ = "8bit";
  }
}

void BodyDecoder::setMimeBodyBase64(std::string_view data, int codePage, bool isText) {
  LogContextExitor context(job_.log, "setMimeBodyBase64");
  if (!isDecoded_) {
    entity_.body.clear();
    if (entity_.body.ensureBuffer(base64Room(data.size()))) {
      (void)ContentCoding().decodeBase64ToDb(data.data(), data.size(), entity_.body);
    } else {
      job_.outOfMemory = true;
    }
  }
  if (!isText || codePage == 0 || codePage == kUtf8) return;
  // Plain ASCII that says it is UTF-16.
  if (codePage == kUtf16Le && isAllAscii(entity_.body.view().substr(0, kAsciiProbe)) &&
      !hasNul(entity_.body.view())) {
    return;
  }
  convertBodyToUtf8(codePage);
}

void BodyDecoder::setMimeBodyQP(std::string_view data, int codePage, bool isText) {
  LogContextExitor context(job_.log, "setMimeBodyQP");
  // What was decoded to look into it had entities on.
  if (!isDecoded_ || isWide(codePage)) {
    ContentCoding coding;
    coding.setEntityMode(isText && !isWide(codePage));
    entity_.body.clear();
    if (entity_.body.ensureBuffer(quotedPrintableRoom(data.size()))) {
      (void)coding.decodeQuotedPrintable(data.data(), data.size(), entity_.body);
    } else {
      job_.outOfMemory = true;
    }
  }
  if (!isText || beginsWithBom(entity_.body.view())) return;
  if (codePage == 0 || codePage == kUtf8 || isWide(codePage)) return;
  if (isTrustedLabel(codePage)) {
    convertBodyToUtf8(codePage);
    return;
  }
  // A mail that declares one charset and carries UTF-8 HTML.
  if (entity_.body.containsSubstring("utf-8", kUtf8LabelProbe) &&
      isValidUtf8Limited(entity_.body.view(), kUtf8LabelProbe)) {
    return;
  }
  if (codePage == kLatin1 && hasWindowsBytes(entity_.body.view())) {
    job_.log.LogInfo("Has invalid iso-8859-1 bytes..");
    wasReally1252_ = true;
    codePage = kWindowsLatin1;
  }
  convertBodyToUtf8(codePage);
}

void BodyDecoder::setMimeBodyUu(std::string_view data, int codePage, bool isText) {
  DataBuffer decoded;
  StringBuffer name;
  const bool found = Uu::uu_decode2(data, decoded, name) != std::string_view::npos;
  // Without a "begin" line there is nothing to decode, and the text stays.
  if (found) {
    setMimeBody8Bit_2(decoded.view(), codePage, isText);
  } else {
    setRawBody(data, codePage, isText);
  }
  newEncoding_ = "base64";
}

/// A body that stands in the text as it is, and so in the charset of the text.
void BodyDecoder::setRawBody(std::string_view data, int codePage, bool isText) {
  if (job_.isFileBytes && isText && !isSevenBitForm(data, codePage)) {
    entity_.body.clear();
    if (!appendAllAsUtf8(codePage, data, entity_.body, job_.log)) job_.outOfMemory = true;
    return;
  }
  const bool isUtf8 = job_.isUtf8 && !isSevenBitForm(data, codePage);
  setMimeBody8Bit_2(data, isUtf8 ? kUtf8 : codePage, isText);
}

void BodyDecoder::setMimeBody8Bit_2(std::string_view data, int codePage, bool isText) {
  LogContextExitor context(job_.log, "setMimeBody8Bit_2");
  entity_.body.clear();
  if (!entity_.body.ensureBuffer(data.size()) || !entity_.body.append(data)) {
    job_.outOfMemory = true;
    return;
  }
  if (!isText || codePage == kUtf8) return;
  if (codePage == 0) {
    if (isAllAscii(data.substr(0, kAsciiProbe)) || hasLatinUtf8Shape(data)) return;
    codePage = kLatin1;
  }
  // UTF-8 under the label of a single-byte charset is converted like any other text of that
  // charset. No such charset ever fails to convert, and only a failure would tell.
  convertBodyToUtf8(codePage);
}

/// Bytes that the page does not define vanish. When the page cannot be converted at all the body
/// stays as it is.
void BodyDecoder::convertBodyToUtf8(int codePage) {
  const std::string_view body = entity_.body.view();
  const bool sharesAscii = CharsetNaming::isLatinFamily(codePage) || codePage == kUsAscii;
  if (sharesAscii && isAllAscii(body) && !hasNul(body)) return;
  DataBuffer converted;
  const bool ok = EncodingConvert().EncConvert(codePage, kUtf8, body, converted, job_.log);
  // What grows in steps made for large bodies would take twenty thousand bytes for each small one.
  converted.minimizeMemoryUsage();
  if (ok || !converted.isEmpty()) entity_.body.takeData(converted);
  // UTF-16 of an odd length is all there but for a byte.
  if (!ok && !converted.isEmpty() && !isWide(codePage)) job_.outOfMemory = true;
}

}  // namespace keldane::mime
