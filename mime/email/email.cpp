#include "mime/email/email.h"

#include <algorithm>
#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/email/email_parts.h"
#include "mime/headers/type_table.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kContentTypeField = "Content-Type";
constexpr std::string_view kEncodingField = "Content-Transfer-Encoding";
constexpr std::string_view kDispositionField = "Content-Disposition";

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

std::string_view fileExtension(std::string_view filename) {
  const std::size_t dot = filename.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : filename.substr(dot + 1);
}

bool endsWithNoCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && equalsNoCase(text.substr(text.size() - end.size()), end);
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

Email2::Part Email2::createAttachmentFromDataUtf8(const Common& common, std::string_view filename,
                                                  DataBuffer& bytes, LogBase& log) {
  Part part(new (std::nothrow) Email2(common));
  if (!part) return part;
  std::string_view type = TypeTable::typeForExtension(fileExtension(filename));
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

bool Email2::isMultipartMixedForAttachmentPurposes() const {
  const std::string_view type = contentType();
  return type == "multipart/mixed" || type == "multipart/*" || type == "multipart/encrypted" ||
         type == "multipart/voice-message" || type == "multipart/x-mixed-replace";
}

}  // namespace keldane::mime
