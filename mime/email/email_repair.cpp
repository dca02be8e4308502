#include "mime/email/email_repair.h"

#include <utility>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/uu.h"

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

void checkFixEmailTextBody(Email2& email) {
  constexpr std::size_t kLeastWide = 3;
  const bool isFile = email.isAttachmentDisposition() && !email.filename().empty();
  if (!isFile && email.body().getSize() >= kLeastWide && email.body().beginsWith("\xFF\xFE")) {
    DataBuffer utf8;
    cvUnicodeToUtf8_db(email.body_rw(), utf8);
    email.body_rw().takeData(utf8);
  }
  if (email.charset().getCodePage() == CharsetNaming::kUtf8) email.body_rw().replaceChar(0, ' ');
}

// Wide text that nobody marked as such.
void checkFixUnicodeHtml(Email2& email) {
  if (email.charset().getCodePage() != 0 || email.isAttachmentDisposition() ||
      containsBytesNoCase(email.filename(), ".doc") ||
      containsBytesNoCase(email.filename(), ".pdf") ||
      !containsBytes(email.body().view(), std::string_view("<\0", 2)) ||
      !containsBytes(email.body().view(), std::string_view(">\0", 2))) {
    return;
  }
  DataBuffer utf8;
  cvUnicodeToUtf8_db(email.body_rw(), utf8);
  email.body_rw().takeData(utf8);
  email.setCodePage(CharsetNaming::kUtf8);
}

bool checkConvertBody(Email2& email, int codePage, LogBase& log) {
  EncodingConvert convert;
  DataBuffer utf8;
  if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, email.body().view(), utf8, log))
    return false;
  email.body_rw().takeData(utf8);
  email.setCodePage(codePage);
  return true;
}

void detectAndSetCharset(Email2& email, int headerCodePage, LogBase& log) {
  const LogContextExitor context(log, "detectAndSetCharset");
  if (isMostlyUtf8(email.body().view())) {
    DataBuffer mended;
    if (!isValidUtf8(email.body().view()) && appendMendedUtf8(email.body().view(), mended)) {
      email.body_rw().takeData(mended);
    }
  } else {
    for (const int codePage : {headerCodePage, 28591, 28592}) {
      const bool isLetters = codePage != 0 && codePage != CharsetNaming::kUtf8;
      if (isLetters && checkConvertBody(email, codePage, log)) return;
    }
  }
  email.setCodePage(CharsetNaming::kUtf8);
}

}  // namespace

bool takeUuencodedFiles(Email2& email, int headerCodePage, LogBase& log) {
  const std::size_t begin = findUuBegin(email.body().view());
  if (begin == kNone) return false;
  const LogContextExitor context(log, "uu_decodeMultipleDb");
  ExtPtrArray<Email2> files;
  std::string_view rest = email.body().view().substr(begin);
  while (files.getSize() < kMaxUuFiles) {
    DataBuffer bytes;
    StringBuffer name;
    const std::size_t end = Uu::uu_decode2(rest, bytes, name);
    if (end == kNone) break;
    rest.remove_prefix(end);
    if (bytes.isEmpty()) continue;
    files.appendObject(email.createAttachmentFromDataUtf8(name.view(), bytes, log));
  }
  // Somebody wrote of uuencoded files rather than sending one.
  if (files.isEmpty()) return false;
  if (log.verbose()) log.LogInfo("UU decoding MIME body and adding as attachment...");
  Email2::Part text = email.createTextPart(log);
  if (!text) return false;
  text->body_rw().append(email.body().view().substr(0, begin));
  if (email.isAttachmentDisposition()) text->copyDisposition(email, log);
  fixBody(*text, false, headerCodePage, log);
  email.body_rw().clearWithDeallocate();
  if (!email.becomeMixed(std::move(text), log)) return false;
  for (int n = files.getSize(), i = 0; i < n; ++i)
    email.parts_rw().appendObject(files.elementAt(i));
  files.setOwnsObjects(false);
  return true;
}

bool takeBareAttachment(Email2& email, LogBase& log) {
  const StringBuffer* mark = email.header().getMimeFieldValue("X-MS-Has-Attach");
  if (!mark || !mark->equalsIgnoreCase2("yes") || !email.isAttachmentDisposition() ||
      email.filename().empty() || containsBytesNoCase(email.filename(), "pkcs7") ||
      containsBytes(email.contentType(), "pkcs7")) {
    return false;
  }
  if (log.verbose()) log.LogInfo("This email has no body and is simply an attachment...");
  Email2::Part attachment =
      email.createAttachmentFromDataUtf8(email.filename(), email.body_rw(), log);
  return attachment && email.becomeMixed(email.createTextPart(log), log) &&
         email.parts_rw().appendObject(std::move(attachment));
}

void fixBody(Email2& email, bool hasParts, int headerCodePage, LogBase& log) {
  if (email.body().isEmpty() || !email.isTextOrTypeless()) return;
  checkFixEmailTextBody(email);
  if (email.isType("text/html")) {
    checkFixUnicodeHtml(email);
    if (email.isAttachmentDisposition() && endsWithNoCase(email.filename(), ".pdf")) {
      email.setContentTypeText("application/pdf");
      return;
    }
  }
  if (!email.isAttachmentDisposition() && !hasParts && email.charset().getCodePage() == 0 &&
      !email.body().is7bit(0) && !email.body().containsChar(0)) {
    detectAndSetCharset(email, headerCodePage, log);
  }
}

// ---- Multiparts nested the wrong way round

namespace {

constexpr std::string_view kAlternative = "multipart/alternative";
constexpr std::string_view kRelated = "multipart/related";
constexpr std::string_view kMixed = "multipart/mixed";

int findChildOfType(const Email2& part, std::string_view type) {
  for (int i = 0; i < part.getNumParts(); ++i) {
    if (part.getPart(i)->contentType() == type) return i;
  }
  return -1;
}

// Takes the inner multipart out of this related, which keeps the page that belonged to it.
Email2::Part takeInner(Email2& email, std::string_view innerType, LogBase& log) {
  if (log.verbose()) {
    log.LogInfo(innerType == kAlternative
                    ? "Fixing multipart/alternative, multipart/related MIME structure..."
                    : "Fixing multipart/related, multipart/mixed MIME structure...");
  }
  Email2::Part inner(email.parts_rw().removeAt(findChildOfType(email, innerType)));
  const int html = findChildOfType(*inner, "text/html");
  if (html >= 0) email.parts_rw().insertAt(0, Email2::Part(inner->parts_rw().removeAt(html)));
  return inner;
}

bool adoptRelated(Email2& email, Email2::Part related) {
  // The best alternative comes last; in a mixed the text comes before the files.
  return email.isType(kAlternative) ? email.parts_rw().appendObject(std::move(related))
                                    : email.parts_rw().insertAt(0, std::move(related));
}

// A related is put right once, or one with a thousand alternatives would become a thousand levels.
void fixNestingBelow(Email2& email, std::string_view innerType, const Email2* settled,
                     int& fixesLeft, LogBase& log) {
  for (int i = 0; i < email.getNumParts(); ++i) {
    Email2* child = email.getPart(i);
    const Email2* settledBelow = nullptr;
    if (child != settled && fixesLeft > 0 && child->isType(kRelated) &&
        findChildOfType(*child, innerType) >= 0) {
      --fixesLeft;
      Email2::Part related(email.parts_rw().removeAt(i));
      settledBelow = related.get();
      Email2::Part inner = takeInner(*related, innerType, log);
      adoptRelated(*inner, std::move(related));
      child = inner.get();
      email.parts_rw().insertAt(i, std::move(inner));
    }
    fixNestingBelow(*child, innerType, settledBelow, fixesLeft, log);
  }
}

void fixNesting(Email2& email, std::string_view innerType, LogBase& log) {
  int fixesLeft = kMaxNestingFixes;
  const Email2* settled = nullptr;
  if (email.isType(kRelated) && findChildOfType(email, innerType) >= 0) {
    // The root must stay the same object, so it is the contents that change places.
    Email2::Part inner = takeInner(email, innerType, log);
    email.swapChildrenAndType(*inner);
    settled = inner.get();
    adoptRelated(email, std::move(inner));
    --fixesLeft;
  }
  fixNestingBelow(email, innerType, settled, fixesLeft, log);
}

}  // namespace

void checkFixAltRelatedNesting(Email2& root, LogBase& log) { fixNesting(root, kAlternative, log); }

void checkFixRelMixNesting(Email2& root, LogBase& log) { fixNesting(root, kMixed, log); }

}  // namespace keldane::mime
