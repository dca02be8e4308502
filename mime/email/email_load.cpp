// From the parsed message to the mail object.
#include <memory>
#include <new>
#include <vector>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/encoded_word.h"
#include "mime/coding/uu.h"
#include "mime/email/email.h"
#include "mime/email/email_parts.h"
#include "mime/headers/date_parser.h"
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

}  // namespace

Email2::Part Email2::createFromMimeText2(const Common& common, std::string_view text, bool isUtf8,
                                         LogBase& log) {
  const LogContextExitor context(log, "createFromMimeText2");
  MimeMessage2 mime;
  if (!mime.loadMimeComplete(text, log, isUtf8)) return nullptr;
  loadFromMimeTextProcessing(mime, log);
  return createFromMimeObject2(common, mime, log);
}

void Email2::getFromFullUtf8(std::string& out, LogBase& log) const {
  out.clear();
  if (from_) {
    from_->emitSelfAsMimeField(out);
  } else if (const StringBuffer* value = header_.getMimeFieldValue("from")) {
    StringBuffer text(*value);
    qbDecode(text, log);
    out.assign(text.view());
  }
  std::erase_if(out, [](char c) { return c == '\r' || c == '\n'; });
}

void Email2::getFromAddressUtf8(std::string& out) const {
  StringBuffer text;
  if (from_) text.setString(from_->address().utf8View());
  text.removeCharOccurances('\r');
  text.removeCharOccurances('\n');
  out.assign(text.view());
}

Email2::Part Email2::createFromMimeObject2(const Common& common, MimeMessage2& mime, LogBase& log) {
  return createFromEntity(common, mime, true, log);
}

Email2::Part Email2::createFromEntity(const Common& common, MimeMessage2& mime, bool isRoot,
                                      LogBase& log) {
  const LogContextExitor context(log, "createFromMimeObject2");
  Part email(new (std::nothrow) Email2(common));
  if (!email) return email;
  unwrapSecurity3(mime, log);
  if (isRoot) {
    // Nobody asks a part for its people, and their lists are the costly half of a header.
    email->loadPeople(mime.getHeader(), log);
    email->loadDate(mime.getHeader(), log);
  }
  takeHeaderByField(mime, email->header_, log);
  email->takeDescription(mime);
  email->m_body.takeData(mime.bodyDb_rw());
  if (!email->takeUuencodedFiles(mime.getHeaderDetectedCP(), log) &&
      !email->takeBareAttachment(log)) {
    email->fixBody(mime.getNumParts() != 0, mime.getHeaderDetectedCP(), log);
  }
  return email->loadParts(mime, log) ? std::move(email) : nullptr;
}

void Email2::loadPeople(const MimeHeader& header, LogBase& log) {
  if (const StringBuffer* from = header.getMimeFieldValue("from")) {
    from_.reset(new (std::nothrow) _tnEmailAddress);
    if (from_ && !from_->loadSingleEmailAddr(from->view(), 0, log)) from_.reset();
  }
  const auto loadList = [&header, &log](std::string_view name, ExtPtrArray<_tnEmailAddress>& list) {
    const StringBuffer* value = header.getMimeFieldValue(name);
    if (value) _tnEmailAddress::parseAndLoadList(value->view(), list, 0, log);
  };
  loadList("to", to_);
  loadList("cc", cc_);
  loadList("bcc", bcc_);
}

void Email2::loadDate(const MimeHeader& header, LogBase& log) {
  date_.getCurrentGmt();
  const StringBuffer* value = header.getMimeFieldValue("date");
  if (!value) value = header.getMimeFieldValue("delivery-date");
  std::string_view text;
  if (value) {
    text = value->view();
  } else {
    value = header.getMimeFieldValue("received");
    const std::size_t semicolon = value ? value->view().rfind(';') : kNone;
    if (semicolon == kNone) return;
    text = value->view().substr(semicolon + 1);
  }
  // A date that cannot be read has set the present moment.
  _tnDateParser::parseRFC822Date(text, date_, log);
}

void Email2::takeDescription(MimeMessage2& mime) {
  disposition_.setString(mime.getDisposition());
  encoding_.setString(mime.getContentEncoding());
  contentId_.setString(mime.getContentId());
  contentType_.takeFrom(mime.contentType_rw());
  filename_.setString(mime.getMimeFilename());
  const _tnCharset& charset = mime.getCharset();
  if (charset.getCodePage() == 0 || charset.equals("x-user-defined") || charset.equals("default")) {
    return;
  }
  charset_.copy(charset);
  if (common_->charset.getCodePage() == 0 && !isStrictAttachment()) {
    common_->charset.copy(charset);
  }
}

bool Email2::loadParts(MimeMessage2& mime, LogBase& log) {
  // Each part is given up as soon as it is used up, so that a mail of very many parts is not in
  // memory twice. From the end, where taking one out costs nothing.
  std::vector<std::unique_ptr<MimeMessage2>> parts;
  parts.reserve(static_cast<std::size_t>(mime.getNumParts()));
  while (mime.getNumParts() != 0) parts.push_back(mime.removePart(mime.getNumParts() - 1));
  for (; !parts.empty(); parts.pop_back()) {
    takeAppleFile(parts.back(), log);
    decodeXUuencode(*parts.back(), log);
    Part child = createFromEntity(common_, *parts.back(), false, log);
    if (!child || !subparts_.appendObject(std::move(child))) return false;
  }
  return true;
}

}  // namespace keldane::mime
