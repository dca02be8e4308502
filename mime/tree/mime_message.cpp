#include "mime/tree/mime_message.h"

#include <atomic>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kContentTypeField = "Content-Type";
constexpr std::string_view kEncodingField = "Content-Transfer-Encoding";
constexpr std::string_view kDispositionField = "Content-Disposition";

std::uint64_t nextObjectId() {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

TarnellObjectWithId::TarnellObjectWithId() : objectId_(nextObjectId()) {}

MimeMessage2::~MimeMessage2() { *static_cast<volatile std::uint32_t*>(&stamp_) = 0; }

void MimeMessage2::clear() {
  m_charset.clear();
  contentType_.clear();
  signedData_.clearWithDeallocate();
  bodyLoaded_ = false;
  beyondLimits_ = false;
  m_body.clearWithDeallocate();
  header_.clear();
  preambleWanted_ = false;
  subparts_.removeAllObjects();
  binarySafeMarker_ = 0;
  disposition_.weakClear();
  encoding_.weakClear();
  filename_.weakClear();
  contentId_.weakClear();
}

bool MimeMessage2::appendPart(std::unique_ptr<MimeMessage2> part) {
  return part && subparts_.appendObject(std::move(part));
}

bool MimeMessage2::insertPart(int index, std::unique_ptr<MimeMessage2> part) {
  return part && subparts_.insertAt(index, std::move(part));
}

std::unique_ptr<MimeMessage2> MimeMessage2::removePart(int index) {
  return std::unique_ptr<MimeMessage2>(subparts_.removeAt(index));
}

void MimeMessage2::removeSubparts() { subparts_.removeAllObjects(); }

bool MimeMessage2::isBeyondLimits() const {
  if (beyondLimits_ || contentType_.isBeyondLimits() || !header_.unparsed().isEmpty()) return true;
  for (int i = 0; i < getNumParts(); ++i) {
    if (getPart(i)->isBeyondLimits()) return true;
  }
  return false;
}

bool MimeMessage2::isMultipart() const { return contentType_.isMultipart(); }

bool MimeMessage2::isMultipartMixed() const {
  return contentType_.contentType().equals("multipart/mixed");
}

bool MimeMessage2::isMultipartSigned(LogBase&) const {
  return contentType_.contentType().equals("multipart/signed");
}

bool MimeMessage2::isAttachment(LogBase&) const {
  return disposition_.equalsIgnoreCase("attachment");
}

bool MimeMessage2::getHeaderFieldUtf8(std::string_view name, StringBuffer& out,
                                      LogBase& log) const {
  const StringBuffer* stored = header_.getMimeFieldValue(name);
  if (!stored) return false;
  StringBuffer value(*stored);
  qbDecode(value, log);
  return out.append(value);
}

bool MimeMessage2::getEmailAddresses(std::string_view name, ExtPtrArraySb& list, LogBase&) const {
  bool any = false;
  for (int i = 0; i < header_.getNumFields(); ++i) {
    const MimeField* field = header_.fieldAt(i);
    if (field && field->nameEquals(name)) any = list.appendString(field->value().view()) || any;
  }
  return any;
}

void MimeMessage2::setContentType(std::string_view type, LogBase& log) {
  contentType_.setContentType(type);
  refreshContentTypeHeader(log);
}

void MimeMessage2::setBoundary(std::string_view boundary, LogBase& log) {
  contentType_.setBoundary(boundary);
  refreshContentTypeHeader(log);
}

void MimeMessage2::setCharset(const _tnCharset& charset, LogBase& log) {
  m_charset.copy(charset);
  refreshContentTypeHeader(log);
}

void MimeMessage2::setContentEncoding(std::string_view encoding, LogBase& log) {
  encoding_.setString(encoding);
  if (encoding.empty()) {
    header_.removeMimeField(kEncodingField, true);
  } else {
    header_.replaceMimeFieldUtf8(kEncodingField, encoding, log);
  }
}

void MimeMessage2::setDisposition(std::string_view disposition, LogBase& log) {
  setDispositionAndFilename(disposition, {}, log);
}

void MimeMessage2::setDispositionAndFilename(std::string_view disposition,
                                             std::string_view filename, LogBase& log) {
  disposition_.setString(disposition);
  disposition_.toLowerCase();
  filename_.setString(filename);
  if (disposition.empty()) {
    header_.removeMimeField(kDispositionField, true);
    return;
  }
  StringBuffer value(disposition);
  if (!filename.empty()) {
    value.append("; filename=");
    appendQuotedParam(filename, value);
  }
  header_.replaceMimeFieldUtf8(kDispositionField, value.view(), log);
}

void MimeMessage2::refreshContentTypeHeader(LogBase& log) {
  if (contentType_.contentType().isEmpty()) {
    header_.removeMimeField(kContentTypeField, true);
    return;
  }
  StringBuffer value;
  contentType_.buildMimeHeaderValue(value, m_charset, log);
  header_.replaceMimeFieldUtf8(kContentTypeField, value.view(), log);
}

}  // namespace keldane::mime
