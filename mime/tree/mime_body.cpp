#include "mime/tree/mime_message.h"

#include "mime/buffers/byte_search.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/html_charset.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/uu.h"
#include "mime/tree/load_job.h"

// The body of an entity without subparts: what it is, how it was encoded, and its way to UTF-8.
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
/// like. Kept: the very last byte is not looked at.
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
void MimeMessage2::keepUnparsed(std::string_view body, LoadJob& job) {
  setRawBody(body, m_charset.getCodePage(), true, job);
}

void MimeMessage2::parseSinglePart(std::string_view body, LoadJob& job) {
  const int declared = m_charset.getCodePage();
  if (job.charsetClue.isEmpty() && declared != 0 && declared != kUsAscii && declared != kUtf8) {
    job.charsetClue.setString(m_charset.nameView());
    if (job.log.verbose()) job.log.LogDataSb("charsetClue", job.charsetClue);
  }
  const StringBuffer* field = header_.getMimeFieldValue("content-type");
  const std::string_view value = field ? field->view() : std::string_view();
  const bool attachment = isAttachment(job.log);
  clearCharsetOfBinary(value, attachment, job.log);
  const bool isText = isTextBody(value, body, attachment);

  int codePage = m_charset.getCodePage();
  job.wasReally1252 = false;
  job.bodyIsDecoded = false;
  if (codePage == 0 && !attachment && contains(value, "text/html")) {
    codePage = adoptMetaCharset(body, isText, job);
  } else if (codePage == kUsAscii) {
    codePage = kLatin1;
  }
  setMimeBodyByEncoding(body, codePage, isText, job);
  if (job.wasReally1252) m_charset.setByName("windows-1252");
  if (beginsWithXHtml(body) && !contentType_.contentType().beginsWith("text/html")) {
    setContentType("text/html", job.log);
  }
}

void MimeMessage2::clearCharsetOfBinary(std::string_view value, bool attachment, LogBase& log) {
  const bool binary =
      contains(value, "image/") || contains(value, "audio/") || contains(value, "video/") ||
      (contains(value, "application/") && !contains(value, "xml") && !contains(value, "json"));
  if (binary) {
    log.LogInfo("clearing charset based on content-type.");
    log.LogInfo("treating body as binary (non-character) data.");
    m_charset.clear();
  }
  if (attachment) {
    log.LogInfo("treating body as binary data because of attachment status.");
    m_charset.clear();
  }
}

bool MimeMessage2::isTextBody(std::string_view value, std::string_view body,
                              bool attachment) const {
  if (attachment) return false;
  if (value.empty()) return !hasNul(body);
  if (!contains(value, "text/") && !contains(value, "application/xml")) return false;
  const int codePage = m_charset.getCodePage();
  return codePage == kUtf16Le || codePage == kUtf16Be || !hasNul(body);
}

/// An HTML text without a declared charset: looks for the one in its head. Leaves the decoded body
/// in place, so that it is decoded once, and answers the page to convert from.
int MimeMessage2::adoptMetaCharset(std::string_view body, bool isText, LoadJob& job) {
  job.log.LogInfo("No charset specified.  Trying to get HTML charset via META tag..");
  std::string_view html = body;
  ContentCoding coding;
  if (encoding_.equalsIgnoreCase("base64")) {
    job.bodyIsDecoded = m_body.ensureBuffer(base64Room(body.size())) &&
                        coding.decodeBase64ToDb(body.data(), body.size(), m_body);
    html = m_body.view();
  } else if (encoding_.equalsIgnoreCase("quoted-printable")) {
    coding.setEntityMode(isText);
    job.bodyIsDecoded = m_body.ensureBuffer(quotedPrintableRoom(body.size())) &&
                        coding.decodeQuotedPrintable(body.data(), body.size(), m_body);
    html = m_body.view();
  }
  StringBuffer name;
  if (!_tnHtmlHelp::getCharset(html, name)) return 0;
  if (job.log.verbose()) job.log.LogDataSb("charsetFromMetaTag", name);
  if ((name.beginsWithIgnoreCase("unicode") || name.beginsWithIgnoreCase("utf-16")) &&
      !hasNul(html.substr(0, kNulProbe))) {
    job.log.LogInfo("Must not really be unicode HTML, no zero bytes found...");
    name.setString("windows-1252");
  }
  m_charset.setByName(name.view());
  return m_charset.getCodePage();
}

void MimeMessage2::setMimeBodyByEncoding(std::string_view data, int codePage, bool isText,
                                         LoadJob& job) {
  if (encoding_.equalsIgnoreCase("base64")) {
    setMimeBodyBase64(data, codePage, isText, job);
    return;
  }
  if (encoding_.equalsIgnoreCase("quoted-printable")) {
    setMimeBodyQP(data, codePage, isText, job);
    return;
  }
  if (encoding_.equalsIgnoreCase("uuencode")) {
    setMimeBodyUu(data, codePage, isText, job);
    return;
  }
  setRawBody(data, codePage, isText, job);
  if (encoding_.equalsIgnoreCase("binary") && contentType_.contentType().equals("message/rfc822")) {
    setContentEncoding("8bit", job.log);
  }
}

void MimeMessage2::setMimeBodyBase64(std::string_view data, int codePage, bool isText,
                                     LoadJob& job) {
  LogContextExitor context(job.log, "setMimeBodyBase64");
  if (!job.bodyIsDecoded) {
    m_body.clear();
    if (m_body.ensureBuffer(base64Room(data.size()))) {
      (void)ContentCoding().decodeBase64ToDb(data.data(), data.size(), m_body);
    } else {
      job.outOfMemory = true;
    }
  }
  if (!isText || codePage == 0 || codePage == kUtf8) return;
  // Plain ASCII that says it is UTF-16.
  if (codePage == kUtf16Le && isAllAscii(m_body.view().substr(0, kAsciiProbe)) &&
      !hasNul(m_body.view())) {
    return;
  }
  convertBodyToUtf8(codePage, job);
}

void MimeMessage2::setMimeBodyQP(std::string_view data, int codePage, bool isText, LoadJob& job) {
  LogContextExitor context(job.log, "setMimeBodyQP");
  // What was decoded to look into it had entities on.
  if (!job.bodyIsDecoded || isWide(codePage)) {
    ContentCoding coding;
    coding.setEntityMode(isText && !isWide(codePage));
    m_body.clear();
    if (m_body.ensureBuffer(quotedPrintableRoom(data.size()))) {
      (void)coding.decodeQuotedPrintable(data.data(), data.size(), m_body);
    } else {
      job.outOfMemory = true;
    }
  }
  if (!isText || beginsWithBom(m_body.view())) return;
  if (codePage == 0 || codePage == kUtf8 || isWide(codePage)) return;
  if (isTrustedLabel(codePage)) {
    convertBodyToUtf8(codePage, job);
    return;
  }
  // A mail that declares one charset and carries UTF-8 HTML.
  if (m_body.containsSubstring("utf-8", kUtf8LabelProbe) &&
      isValidUtf8Limited(m_body.view(), kUtf8LabelProbe)) {
    return;
  }
  if (codePage == kLatin1 && hasWindowsBytes(m_body.view())) {
    job.log.LogInfo("Has invalid iso-8859-1 bytes..");
    job.wasReally1252 = true;
    codePage = kWindowsLatin1;
  }
  convertBodyToUtf8(codePage, job);
}

void MimeMessage2::setMimeBodyUu(std::string_view data, int codePage, bool isText, LoadJob& job) {
  DataBuffer decoded;
  StringBuffer name;
  const bool found = Uu::uu_decode2(data, decoded, name) != std::string_view::npos;
  // Without a "begin" line there is nothing to decode, and the text stays.
  if (found) {
    setMimeBody8Bit_2(decoded.view(), codePage, isText, job);
  } else {
    setRawBody(data, codePage, isText, job);
  }
  setContentEncoding("base64", job.log);
}

/// A body that stands in the text as it is, and so in the charset of the text.
void MimeMessage2::setRawBody(std::string_view data, int codePage, bool isText, LoadJob& job) {
  if (job.isFileBytes && isText && !isSevenBitForm(data, codePage)) {
    m_body.clear();
    if (!appendAllAsUtf8(codePage, data, m_body, job.log)) job.outOfMemory = true;
    return;
  }
  const bool isUtf8 = job.isUtf8 && !isSevenBitForm(data, codePage);
  setMimeBody8Bit_2(data, isUtf8 ? kUtf8 : codePage, isText, job);
}

void MimeMessage2::setMimeBody8Bit_2(std::string_view data, int codePage, bool isText,
                                     LoadJob& job) {
  LogContextExitor context(job.log, "setMimeBody8Bit_2");
  m_body.clear();
  if (!m_body.ensureBuffer(data.size()) || !m_body.append(data)) {
    job.outOfMemory = true;
    return;
  }
  if (!isText || codePage == kUtf8) return;
  if (codePage == 0) {
    if (isAllAscii(data.substr(0, kAsciiProbe)) || hasLatinUtf8Shape(data)) return;
    codePage = kLatin1;
  }
  // Kept: UTF-8 under the label of a single-byte charset is converted like any other text of that
  // charset. No such charset ever fails to convert, and only a failure would tell.
  convertBodyToUtf8(codePage, job);
}

/// Bytes that the page does not define vanish. When the page cannot be converted at all the body
/// stays as it is.
void MimeMessage2::convertBodyToUtf8(int codePage, LoadJob& job) {
  const std::string_view body = m_body.view();
  const bool sharesAscii = CharsetNaming::isLatinFamily(codePage) || codePage == kUsAscii;
  if (sharesAscii && isAllAscii(body) && !hasNul(body)) return;
  DataBuffer converted;
  const bool ok = EncodingConvert().EncConvert(codePage, kUtf8, body, converted, job.log);
  // What grows in steps made for large bodies would take twenty thousand bytes for each small one.
  converted.minimizeMemoryUsage();
  if (ok || !converted.isEmpty()) m_body.takeData(converted);
  // UTF-16 of an odd length is all there but for a byte.
  if (!ok && !converted.isEmpty() && !isWide(codePage)) job.outOfMemory = true;
}

}  // namespace keldane::mime
