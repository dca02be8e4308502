// Repairs of one entity's body at load: wide text, missing charsets, files inside the text.
#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/uu.h"
#include "mime/email/email.h"
#include "mime/email/email_parts.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

/// Place of the first "begin" line of a file of one's own, which is the mode that mailers write.
std::size_t findUuBegin(std::string_view body) {
  constexpr std::size_t kLookedAt = 50000;
  body = body.substr(0, kLookedAt);
  for (std::size_t at = findBytes(body, "begin 6"); at != kNone;
       at = findBytes(body, "begin 6", at + 1)) {
    const std::string_view mode = body.substr(at + 6, 3);
    const bool beginsLine = at == 0 || body[at - 1] == '\n' || body[at - 1] == '\r';
    if (beginsLine && (mode == "666" || mode == "600" || mode == "664" || mode == "644")) return at;
  }
  return kNone;
}

}  // namespace

bool Email2::takeUuencodedFiles(int headerCodePage, LogBase& log) {
  const std::size_t begin = findUuBegin(m_body.view());
  if (begin == kNone) return false;
  const LogContextExitor context(log, "uu_decodeMultipleDb");
  ExtPtrArray<Email2> files;
  std::string_view rest = m_body.view().substr(begin);
  while (files.getSize() < kMaxUuFiles) {
    DataBuffer bytes;
    StringBuffer name;
    const std::size_t end = Uu::uu_decode2(rest, bytes, name);
    if (end == kNone) break;
    rest.remove_prefix(end);
    if (bytes.isEmpty()) continue;
    files.appendObject(createAttachmentFromDataUtf8(common_, name.view(), bytes, log));
  }
  // Somebody wrote of uuencoded files rather than sending one.
  if (files.isEmpty()) return false;
  if (log.verbose()) log.LogInfo("UU decoding MIME body and adding as attachment...");
  Part text = createTextPart(log);
  if (!text) return false;
  text->m_body.append(m_body.view().substr(0, begin));
  if (isAttachmentDisposition()) text->copyDisposition(*this, log);
  text->fixBody(false, headerCodePage, log);
  m_body.clearWithDeallocate();
  if (!becomeMixed(std::move(text), log)) return false;
  for (int n = files.getSize(), i = 0; i < n; ++i) subparts_.appendObject(files.elementAt(i));
  files.setOwnsObjects(false);
  return true;
}

bool Email2::takeBareAttachment(LogBase& log) {
  const StringBuffer* mark = header_.getMimeFieldValue("X-MS-Has-Attach");
  if (!mark || !mark->equalsIgnoreCase2("yes") || !isAttachmentDisposition() ||
      filename().empty() || containsBytesNoCase(filename(), "pkcs7") ||
      containsBytes(contentType(), "pkcs7")) {
    return false;
  }
  if (log.verbose()) log.LogInfo("This email has no body and is simply an attachment...");
  Part attachment = createAttachmentFromDataUtf8(common_, filename(), m_body, log);
  return attachment && becomeMixed(createTextPart(log), log) &&
         subparts_.appendObject(std::move(attachment));
}

void Email2::fixBody(bool hasParts, int headerCodePage, LogBase& log) {
  if (m_body.isEmpty() || !isTextOrTypeless()) return;
  checkFixEmailTextBody();
  if (isType("text/html")) {
    checkFixUnicodeHtml();
    if (isAttachmentDisposition() && endsWithNoCase(filename(), ".pdf")) {
      setContentTypeText("application/pdf");
      return;
    }
  }
  if (!isAttachmentDisposition() && !hasParts && charset_.getCodePage() == 0 && !m_body.is7bit(0) &&
      !m_body.containsChar(0)) {
    detectAndSetCharset(headerCodePage, log);
  }
}

void Email2::checkFixEmailTextBody() {
  constexpr std::size_t kLeastWide = 3;
  const bool isFile = isAttachmentDisposition() && !filename().empty();
  if (!isFile && m_body.getSize() >= kLeastWide && m_body.beginsWith("\xFF\xFE")) {
    DataBuffer utf8;
    cvUnicodeToUtf8_db(m_body, utf8);
    m_body.takeData(utf8);
  }
  if (charset_.getCodePage() == CharsetNaming::kUtf8) m_body.replaceChar(0, ' ');
}

// Wide text that nobody marked as such.
void Email2::checkFixUnicodeHtml() {
  if (charset_.getCodePage() != 0 || isAttachmentDisposition() ||
      containsBytesNoCase(filename(), ".doc") || containsBytesNoCase(filename(), ".pdf") ||
      !containsBytes(m_body.view(), std::string_view("<\0", 2)) ||
      !containsBytes(m_body.view(), std::string_view(">\0", 2))) {
    return;
  }
  DataBuffer utf8;
  cvUnicodeToUtf8_db(m_body, utf8);
  m_body.takeData(utf8);
  setCodePage(CharsetNaming::kUtf8);
}

void Email2::detectAndSetCharset(int headerCodePage, LogBase& log) {
  const LogContextExitor context(log, "detectAndSetCharset");
  if (isMostlyUtf8(m_body.view())) {
    DataBuffer mended;
    if (!isValidUtf8(m_body.view()) && appendMendedUtf8(m_body.view(), mended)) {
      m_body.takeData(mended);
    }
  } else {
    for (const int codePage : {headerCodePage, 28591, 28592}) {
      const bool isLetters = codePage != 0 && codePage != CharsetNaming::kUtf8;
      if (isLetters && checkConvertBody(codePage, log)) return;
    }
  }
  setCodePage(CharsetNaming::kUtf8);
}

bool Email2::checkConvertBody(int codePage, LogBase& log) {
  EncodingConvert convert;
  DataBuffer utf8;
  if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, m_body.view(), utf8, log)) return false;
  m_body.takeData(utf8);
  setCodePage(codePage);
  return true;
}

}  // namespace keldane::mime
