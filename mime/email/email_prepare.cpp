// Repairs of the parsed message as a whole, before the mail object is made of it.
#include <memory>
#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/email/email.h"
#include "mime/email/email_parts.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

namespace {

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

void Email2::loadFromMimeTextProcessing(MimeMessage2& mime, LogBase& log) {
  const LogContextExitor context(log, "loadFromMimeTextProcessing");
  for (const char* name : {"to", "cc", "bcc"}) mime.header_rw().collapseMultiple(name, log);
  if (isAttachmentItself(mime, log)) rebuildAsMixed(mime, log);
  if (mime.isMultipartMixed()) transformMmToMa(mime, log);
}

}  // namespace keldane::mime
