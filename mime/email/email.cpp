#include "mime/email/email.h"

#include <algorithm>
#include <new>
#include <utility>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/encoded_word.h"
#include "mime/headers/date_parser.h"
#include "mime/headers/type_table.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kContentTypeField = "Content-Type";
constexpr std::string_view kEncodingField = "Content-Transfer-Encoding";
constexpr std::string_view kDispositionField = "Content-Disposition";
constexpr std::size_t kNone = std::string_view::npos;

/// Images and the like that a program put into the running text without a name.
bool isMediaType(std::string_view type) {
  return type.starts_with("image/") || type.starts_with("application/") ||
         type.starts_with("audio/") || type.starts_with("video/");
}

}  // namespace

void makeBoundary(std::string_view seed, StringBuffer& out) {
  // From the content, so that the same mail comes out the same each time.
  constexpr std::size_t kSeedBytes = 4096;
  constexpr std::uint64_t kBasis = 14695981039346656037ULL;
  constexpr std::uint64_t kPrime = 1099511628211ULL;
  std::uint64_t hash = kBasis ^ seed.size();
  for (const char c : seed.substr(0, kSeedBytes)) {
    hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
  }
  out.setString("----=_Part_");
  for (int shift = 60; shift >= 0; shift -= 4) {
    out.appendChar("0123456789ABCDEF"[(hash >> shift) & 15]);
  }
}

Email2::Email2(Common common) : common_(std::move(common)) {}

Email2::~Email2() { *static_cast<volatile std::uint32_t*>(&stamp_) = 0; }

bool Email2::isMultipart() const { return contentType_.contentType().beginsWith("multipart/"); }

bool Email2::isAttachmentDisposition() const {
  return disposition_.equalsIgnoreCase2("attachment");
}

bool Email2::isTextOrTypeless() const {
  return contentType().empty() || contentType().substr(0, 5) == "text/";
}

std::string_view Email2::comparedType() const {
  return contentType().empty() && getNumParts() == 0 ? "text/plain" : contentType();
}

bool Email2::hasEncoding(std::string_view encoding) const {
  return encoding_.equalsIgnoreCase2(encoding);
}

bool Email2::isNotAlternativeBody() const {
  if (isMultipart()) return false;
  if (isType("message/rfc822")) {
    return isAttachmentDisposition() && endsWithNoCase(filename(), ".mht");
  }
  if (isAttachmentDisposition()) return true;
  if (!attributeName().empty() && encoding_.equalsIgnoreCase2("base64")) return true;
  return endsWithNoCase(attributeName(), ".pem") || isType("application/edifact") ||
         isType("application/smil");
}

bool Email2::isEmailAttachment(bool underMixed) const {
  const std::string_view type = contentType();
  if (isMultipart()) return false;
  if (type == "message/rfc822") {
    return isAttachmentDisposition() && endsWithNoCase(filename(), ".mht");
  }
  if (containsBytes(type, "pkcs7-signature")) return isAttachmentDisposition();
  if (isAttachmentDisposition() || type.starts_with("application/")) return true;
  if (disposition_.equalsIgnoreCase2("inline")) {
    if (!filename().empty() || (underMixed && isMediaType(type))) return true;
    return type.starts_with("image/") && containsBytes(type, "-tiff");
  }
  if (underMixed && type == "text/plain") {
    const StringBuffer* contentClass = header_.getMimeFieldValue("Content-Class");
    if (contentClass && contentClass->matches("*content-classes:message*", false)) return true;
  }
  if (!attributeName().empty() && encoding_.equalsIgnoreCase2("base64")) return true;
  return endsWithNoCase(attributeName(), ".pem") || endsWithNoCase(attributeName(), ".pmi") ||
         endsWithNoCase(attributeName(), ".gtr");
}

bool Email2::isStrictAttachment() const {
  if (isMultipart() || isType("message/rfc822")) return false;
  if (contentType().starts_with("application/")) {
    // A name with both is the query of a web address: a counter or advertisement in the page.
    const bool isQuery = attributeName().find('?') != kNone && attributeName().find('&') != kNone;
    return !isQuery;
  }
  return isAttachmentDisposition();
}

bool Email2::isMultipartMixedForAttachmentPurposes() const {
  const std::string_view type = contentType();
  return type == "multipart/mixed" || type == "multipart/*" || type == "multipart/encrypted" ||
         type == "multipart/voice-message" || type == "multipart/x-mixed-replace";
}

// ---- People and date

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

// ---- Changes

void Email2::setContentTypeText(std::string_view type) {
  contentType_.setContentType(type);
  contentTypeChanged_ = true;
}

void Email2::setCodePage(int codePage) {
  charset_.setByCodePage(codePage);
  contentTypeChanged_ = true;
}

void Email2::setEncoding(std::string_view encoding, LogBase& log) {
  encoding_.setString(encoding);
  if (encoding.empty()) {
    header_.removeMimeField(kEncodingField, true);
  } else {
    header_.replaceMimeFieldUtf8(kEncodingField, encoding, log);
  }
}

void Email2::removeDisposition() {
  disposition_.weakClear();
  filename_.weakClear();
  header_.removeMimeField(kDispositionField, true);
}

void Email2::copyDisposition(const Email2& other, LogBase& log) {
  disposition_.setString(other.disposition_);
  filename_.setString(other.filename_);
  const StringBuffer* field = other.header_.getMimeFieldValue(kDispositionField);
  if (field) header_.replaceMimeFieldUtf8(kDispositionField, field->view(), log);
}

void Email2::refreshContentTypeHeader(LogBase& log) {
  StringBuffer value;
  if (contentType().empty()) {
    // A text that got a charset at load needs a field to name it in.
    _tnContentType plain;
    plain.copyFrom(contentType_);
    plain.setContentType("text/plain");
    plain.buildMimeHeaderValue(value, charset_, log);
  } else {
    contentType_.buildMimeHeaderValue(value, charset_, log);
  }
  header_.replaceMimeFieldUtf8(kContentTypeField, value.view(), log);
  contentTypeChanged_ = false;
}

Email2::Part Email2::createAttachmentFromDataUtf8(std::string_view filename, DataBuffer& bytes,
                                                  LogBase& log) const {
  Part part(new (std::nothrow) Email2(common_));
  if (!part) return part;
  std::string_view type = TypeTable::typeForFilename(filename);
  if (type.empty()) type = "application/octet-stream";
  part->contentType_.setContentType(type);
  part->contentType_.setName(filename);
  part->filename_.setString(filename);
  part->disposition_.setString("attachment");
  part->refreshContentTypeHeader(log);
  StringBuffer disposition("attachment");
  if (!filename.empty()) {
    disposition.append("; filename=");
    appendQuotedParam(filename, disposition);
  }
  part->header_.replaceMimeFieldUtf8(kDispositionField, disposition.view(), log);
  part->setEncoding("base64", log);
  part->m_body.takeData(bytes);
  return part;
}

Email2::Part Email2::createTextPart(LogBase& log) const {
  Part part(new (std::nothrow) Email2(common_));
  if (!part) return part;
  part->contentType_.setContentType("text/plain");
  part->charset_.copy(charset_);
  part->refreshContentTypeHeader(log);
  return part;
}

bool Email2::becomeMixed(Part text, LogBase& log) {
  if (!text) return false;
  StringBuffer boundary;
  makeBoundary(text->body().view(), boundary);
  contentType_.clear();
  setContentTypeText("multipart/mixed");
  contentType_.setBoundary(boundary.view());
  charset_.clear();
  refreshContentTypeHeader(log);
  setEncoding({}, log);
  removeDisposition();
  return subparts_.insertAt(0, std::move(text));
}

void Email2::swapChildrenAndType(Email2& other) {
  subparts_.swap(other.subparts_);
  _tnContentType type;
  type.copyFrom(contentType_);
  contentType_.copyFrom(other.contentType_);
  other.contentType_.copyFrom(type);
  contentTypeChanged_ = true;
  other.contentTypeChanged_ = true;
}

}  // namespace keldane::mime
