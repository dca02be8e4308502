#include "mime/email/email_load.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/uu.h"
#include "mime/email/email_header.h"
#include "mime/email/email_repair.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

/// Content that only a key could open is kept as it came.
void unwrapSecurity3(const MimeMessage2& mime, LogBase& log) {
  const std::string_view type = mime.getContentType().contentType().view();
  const bool isPkcs7 = type == "application/pkcs7-mime" || type == "application/x-pkcs7-mime";
  if (isPkcs7 && mime.getContentType().smimeType().view() == "enveloped-data") {
    log.LogError("Not all data was decrypted");
  }
}

/// A Macintosh file in two halves becomes the file itself, as an attachment. Its resource half is
/// of no use elsewhere and goes.
void takeAppleFile(std::unique_ptr<MimeMessage2>& part, LogBase& log) {
  if (part->getContentType().contentType().view() != "multipart/appledouble" ||
      part->getNumParts() < 2) {
    return;
  }
  part = part->removePart(1);
  if (part->isAttachment(log)) return;
  const StringBuffer filename(part->getMimeFilename());
  part->setDispositionAndFilename("attachment", filename.view(), log);
}

void decodeXUuencode(MimeMessage2& part, LogBase& log) {
  if (!part.getContentEncoding().equalsIgnoreCase2("X-UUencode")) return;
  DataBuffer bytes;
  StringBuffer name;
  if (Uu::uu_decode2(part.getMimeBodyDb().view(), bytes, name) == kNone) return;
  part.bodyDb_rw().takeData(bytes);
  part.setContentEncoding("base64", log);
}

Email2::Part createFromEntity(const Email2::Common& common, MimeMessage2& mime, bool isRoot,
                              LogBase& log);

bool loadParts(Email2& email, const Email2::Common& common, MimeMessage2& mime, LogBase& log) {
  // Each part is given up as soon as it is used up, so that a mail of very many parts is not in
  // memory twice. From the end, where taking one out costs nothing.
  std::vector<std::unique_ptr<MimeMessage2>> parts;
  parts.reserve(static_cast<std::size_t>(mime.getNumParts()));
  while (mime.getNumParts() != 0) parts.push_back(mime.removePart(mime.getNumParts() - 1));
  for (; !parts.empty(); parts.pop_back()) {
    takeAppleFile(parts.back(), log);
    decodeXUuencode(*parts.back(), log);
    Email2::Part child = createFromEntity(common, *parts.back(), false, log);
    if (!child || !email.parts_rw().appendObject(std::move(child))) return false;
  }
  return true;
}

Email2::Part createFromEntity(const Email2::Common& common, MimeMessage2& mime, bool isRoot,
                              LogBase& log) {
  const LogContextExitor context(log, "createFromMimeObject2");
  Email2::Part email(new (std::nothrow) Email2(common));
  if (!email) return email;
  unwrapSecurity3(mime, log);
  if (isRoot) {
    // Nobody asks a part for its people, and their lists are the costly half of a header.
    email->loadPeople(mime.getHeader(), log);
    email->loadDate(mime.getHeader(), log);
  }
  takeHeaderByField(mime, email->header_rw(), log);
  email->takeDescription(mime);
  email->body_rw().takeData(mime.bodyDb_rw());
  if (!takeUuencodedFiles(*email, mime.getHeaderDetectedCP(), log) &&
      !takeBareAttachment(*email, log)) {
    fixBody(*email, mime.getNumParts() != 0, mime.getHeaderDetectedCP(), log);
  }
  return loadParts(*email, common, mime, log) ? std::move(email) : nullptr;
}

// ---- The message as a whole

using MessagePart = std::unique_ptr<MimeMessage2>;

MessagePart newMessagePart() { return MessagePart(new (std::nothrow) MimeMessage2); }

/// A message that is an attachment and nothing else.
bool isAttachmentItself(const MimeMessage2& mime, LogBase& log) {
  const std::string_view type = mime.getContentType().contentType().view();
  return mime.isAttachment(log) && !mime.isMultipart() && !containsBytes(type, "pkcs7") &&
         !containsBytes(type, "edifact");
}

/// Puts the attachment behind an empty text, so that it is found where attachments are looked for.
void rebuildAsMixed(MimeMessage2& mime, LogBase& log) {
  MessagePart text = newMessagePart();
  MessagePart attachment = newMessagePart();
  if (!text || !attachment) return;
  text->setContentType("text/plain", log);
  attachment->contentType_rw().copyFrom(mime.getContentType());
  _tnCharset charset;
  charset.copy(mime.getCharset());
  if (charset.getCodePage() == 0 && mime.getHeaderDetectedCP() != 0) {
    charset.setByCodePage(mime.getHeaderDetectedCP());
  }
  attachment->setCharset(charset, log);
  attachment->setDispositionAndFilename(mime.getDisposition().view(), mime.getMimeFilename().view(),
                                        log);
  attachment->setContentEncoding(mime.getContentEncoding().view(), log);
  attachment->bodyDb_rw().takeData(mime.bodyDb_rw());

  StringBuffer boundary;
  makeBoundary(attachment->getMimeBodyDb().view(), boundary);
  mime.contentType_rw().clear();
  mime.charset_rw().clear();
  mime.contentType_rw().setBoundary(boundary.view());
  mime.setContentType("multipart/mixed", log);
  mime.setContentEncoding({}, log);
  mime.setDisposition({}, log);
  mime.appendPart(std::move(text));
  mime.appendPart(std::move(attachment));
}

/// Index of the first direct part of this type that is the text of the mail rather than a file. A
/// name in its content type alone makes no file of it: such a part would be shown nowhere.
int findUnnamedText(const MimeMessage2& mime, std::string_view type, LogBase& log) {
  for (int i = 0; i < mime.getNumParts(); ++i) {
    const MimeMessage2* part = mime.getPart(i);
    if (part && part->getContentType().contentType().view() == type && !part->isAttachment(log) &&
        part->getMimeFilename().isEmpty()) {
      return i;
    }
  }
  return -1;
}

/// A mixed of a text and its HTML form, mislabelled by the sender, becomes an alternative.
void transformMmToMa(MimeMessage2& mime, LogBase& log) {
  const LogContextExitor context(log, "transformMmToMa");
  int plain = findUnnamedText(mime, "text/plain", log);
  int html = findUnnamedText(mime, "text/html", log);
  if (plain < 0 || html < 0) return;
  if (mime.getNumParts() == 2) {
    mime.setContentType("multipart/alternative", log);
    return;
  }
  MessagePart alternative = newMessagePart();
  if (!alternative) return;
  StringBuffer boundary;
  makeBoundary(mime.getContentType().boundary().view(), boundary);
  alternative->contentType_rw().setBoundary(boundary.view());
  alternative->setContentType("multipart/alternative", log);
  MessagePart plainPart = mime.removePart(plain);
  if (html > plain) --html;
  alternative->appendPart(std::move(plainPart));
  alternative->appendPart(mime.removePart(html));
  mime.insertPart(0, std::move(alternative));
}

}  // namespace

void loadFromMimeTextProcessing(MimeMessage2& mime, LogBase& log) {
  const LogContextExitor context(log, "loadFromMimeTextProcessing");
  for (const char* name : {"to", "cc", "bcc"}) mime.header_rw().collapseMultiple(name, log);
  if (isAttachmentItself(mime, log)) rebuildAsMixed(mime, log);
  if (mime.isMultipartMixed()) transformMmToMa(mime, log);
}

Email2::Part createFromMimeText2(const Email2::Common& common, std::string_view text, bool isUtf8,
                                 LogBase& log) {
  const LogContextExitor context(log, "createFromMimeText2");
  MimeMessage2 mime;
  if (!mime.loadMimeComplete(text, log, isUtf8)) return nullptr;
  loadFromMimeTextProcessing(mime, log);
  return createFromMimeObject2(common, mime, log);
}

Email2::Part createFromMimeObject2(const Email2::Common& common, MimeMessage2& mime, LogBase& log) {
  return createFromEntity(common, mime, true, log);
}

}  // namespace keldane::mime
