#include "mime/tree/mime_message.h"

#include <atomic>
#include <limits>
#include <new>
#include <optional>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/parse_engine.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"
#include "mime/headers/header_end.h"
#include "mime/limits.h"
#include "mime/tree/body_decoder.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kContentTypeField = "Content-Type";
constexpr std::string_view kEncodingField = "Content-Transfer-Encoding";
constexpr std::string_view kDispositionField = "Content-Disposition";

std::uint64_t nextObjectId() {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

/// The parts of a message in order, each before its own parts.
template <typename Entity, typename Visit>
bool visitTree(Entity& entity, const Visit& visit) {
  if (visit(entity)) return true;
  for (int i = 0; i < entity.getNumParts(); ++i) {
    if (Entity* part = entity.getPart(i); part && visitTree(*part, visit)) return true;
  }
  return false;
}

// ---- Loading

/// A mail cut out of a mailbox file may still have the separator line in front.
std::string_view withoutMboxSeparator(std::string_view text, LogBase& log) {
  if (!text.starts_with("From ")) return text;
  const std::size_t lineEnd = text.find_first_of("\r\n");
  const std::size_t next = lineEnd == kNone ? kNone : text.find_first_not_of("\r\n", lineEnd);
  if (next == kNone) return text;
  log.LogInfo("Skipping MBOX leading From line...");
  return text.substr(next);
}

std::string_view withoutOneLineEnd(std::string_view text) {
  if (text.starts_with("\r\n")) return text.substr(2);
  return text.starts_with('\n') ? text.substr(1) : text;
}

constexpr std::string_view kNoMemory = "There is not enough memory for this message.";
constexpr int kDeepNesting = 32;
constexpr std::size_t kNearby = 100000;

std::string_view upToSemicolon(std::string_view text) { return text.substr(0, text.find(';')); }

/// The value of a field, its encoded words decoded; they make `decoded`. Without any it is the
/// stored text itself, which in a hostile message may be as large as that.
std::optional<std::string_view> decodedValue(const MimeHeader& header, std::string_view name,
                                             StringBuffer& decoded, LogBase& log) {
  const StringBuffer* stored = header.getMimeFieldValue(name);
  if (!stored) return std::nullopt;
  if (!hasEncodedWordMark(stored->view())) return stored->view();
  decoded.setString(*stored);
  qbDecode(decoded, log);
  return decoded.view();
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

bool MimeMessage2::getQBEncodedHeader(StringBuffer& out, LogBase& log) const {
  header_.getMimeHeader(out, {}, m_charset.getCodePage(), false, log);
  return true;
}

void MimeMessage2::makeBinarySafeForString(LogBase& log) {
  visitTree(*this, [&log](MimeMessage2& entity) {
    entity.binarySafeMarker_ = 0;
    const StringBuffer& type = entity.contentType_.contentType();
    const bool goesAsText = type.isEmpty() || type.beginsWith("text/") ||
                            type.equals("message/rfc822") || entity.isMultipart();
    if (goesAsText || entity.m_body.is7bit(0)) return false;
    if (entity.encoding_.isEmpty()) {
      entity.binarySafeMarker_ = 2;
    } else if (entity.encoding_.equalsIgnoreCase("binary")) {
      entity.binarySafeMarker_ = 1;
    }
    if (entity.binarySafeMarker_ != 0) entity.setContentEncoding("base64", log);
    return false;
  });
}

void MimeMessage2::restoreBinarySafeForString(LogBase& log) {
  visitTree(*this, [&log](MimeMessage2& entity) {
    if (entity.binarySafeMarker_ == 2) entity.setContentEncoding({}, log);
    if (entity.binarySafeMarker_ == 1) entity.setContentEncoding("binary", log);
    entity.binarySafeMarker_ = 0;
    return false;
  });
}

// ---- Loading: from text to tree

/// How the parts of one body are set off from each other.
struct MimeMessage2::Delimiter {
  StringBuffer open;
  StringBuffer close;
  std::size_t first = kNone;
  /// Bytes of the line end that belongs to a following delimiter.
  std::size_t lineEnd = 0;
  bool isAnsi = false;

  /// Looks for the first delimiter made of `boundary`, with each of the ends that its line may
  /// have.
  bool find(std::string_view body, std::string_view boundary, LogBase& log);
};

bool MimeMessage2::Delimiter::find(std::string_view body, std::string_view boundary, LogBase& log) {
  struct Form {
    std::string_view end;
    std::size_t lineEnd;
    std::string_view messageBefore;
  };
  static constexpr Form kForms[] = {
      {"\r\n", 2, {}},
      {"\n", 1, "Did not find boundary ending in CRLF, re-checking for bare-LF..."},
      {"\r", 1, "Did not find boundary ending in CRLF or LF, re-checking for bare-CR..."},
      {" \r\n", 2,
       "Still did not find boundary.  Checking for boundary with trailing SPACE chars.."},
  };
  for (const Form& form : kForms) {
    if (!form.messageBefore.empty()) log.LogInfo(form.messageBefore);
    open.weakClear();
    open.append3("--", boundary, form.end);
    first = findBytes(body, open.view());
    if (first == kNone) continue;
    lineEnd = form.lineEnd;
    close.weakClear();
    close.append3("--", boundary, "--");
    return true;
  }
  return false;
}

bool MimeMessage2::loadMimeComplete(const StringBuffer& text, LogBase& log, bool isUtf8) {
  return loadMimeComplete(text.view(), log, isUtf8);
}

bool MimeMessage2::loadMimeComplete(std::string_view text, LogBase& log, bool isUtf8) {
  StringBuffer charsetClue;
  return loadMimeComplete2(text.data() ? text.data() : "", text.size(), true, charsetClue, log,
                           isUtf8);
}

bool MimeMessage2::loadMimeCompleteDb(const DataBuffer& bytes, LogBase& log) {
  StringBuffer charsetClue;
  return loadMimeComplete2(bytes.view().data(), bytes.getSize(), false, charsetClue, log, false);
}

bool MimeMessage2::loadMimeComplete2(const char* data, std::size_t n, bool fixLineEnds,
                                     StringBuffer& charsetClue, LogBase& log, bool isUtf8) {
  LogContextExitor context(log, "loadMimeComplete2");
  LoadJob job{fixLineEnds, isUtf8, charsetClue, log};
  return loadWhole(data, n, job);
}

bool MimeMessage2::loadFileBytes(std::string_view bytes, LogBase& log) {
  LogContextExitor context(log, "loadFileBytes");
  StringBuffer charsetClue;
  LoadJob job{true, false, charsetClue, log};
  job.isFileBytes = true;
  return loadWhole(bytes.data() ? bytes.data() : "", bytes.size(), job);
}

bool MimeMessage2::loadWhole(const char* data, std::size_t n, LoadJob& job) {
  if (!data || n > std::numeric_limits<std::uint32_t>::max()) {
    clear();
    job.log.LogError(data ? "The MIME text is too large." : "No MIME text.");
    return false;
  }
  job.wholeText = {data, n};
  if (!loadEntity(job.wholeText, job, 0)) return false;
  if (!job.outOfMemory) return true;
  // A message of which a part is missing must not pass for the whole.
  clear();
  job.log.LogError(kNoMemory);
  return false;
}

bool MimeMessage2::loadEntity(std::string_view text, LoadJob& job, int depth) {
  clear();
  header_.setMaxFields(job.fieldsLeft);
  text = withoutMboxSeparator(text, job.log);
  DataBuffer repaired;
  HeaderEnd end;
  if (!findEndOfHeader2(text, job.fixLineEnds, job.noPairs, repaired, end, job.log)) {
    job.log.LogError(kNoMemory);
    return false;
  }
  // Once the whole message went through the repair, or did not need it, its parts are clean too.
  if (depth == 0) job.noPairs = end.noPairs;
  if (!end.found()) return loadWithoutHeaderEnd(end.text, text.size(), job);
  loadWithHeader(end.text, end.size, end.terminator, job, depth);
  return true;
}

void MimeMessage2::loadWithHeader(std::string_view text, std::size_t headerSize,
                                  std::string_view terminator, LoadJob& job, int depth) {
  if (headerSize > 0) {
    // An undeclared charset is looked for in all that follows the header. Far below any nesting of
    // real mail it is looked for nearby only, or the same text is searched at every level.
    const std::string_view all = depth > kDeepNesting ? text.substr(0, headerSize + kNearby) : text;
    loadHeader(all, terminator, headerSize, job);
  }
  job.fieldsLeft -= header_.getNumFields();
  cacheAll(job.log);
  const std::string_view body = withoutOneLineEnd(withoutOneLineEnd(text.substr(headerSize)));
  if (!body.empty()) parseMimeBody(body, job, depth);
  bodyLoaded_ = true;
}

void MimeMessage2::loadHeader(std::string_view text, std::string_view terminator,
                              std::size_t headerSize, LoadJob& job) {
  const std::string_view header = text.substr(0, headerSize);
  if (job.isFileBytes && !isValidUtf8(header)) {
    loadHeaderOfFile(header, job);
    return;
  }
  const bool isUtf8 = job.isUtf8 || job.isFileBytes;
  header_.loadMimeHeaderText(text, terminator, isUtf8 ? CharsetNaming::kUtf8 : 0, &job.charsetClue,
                             job.log, headerSize);
}

/// A header with raw letters in another charset: its own label, else the first of the message.
void MimeMessage2::loadHeaderOfFile(std::string_view header, LoadJob& job) {
  int codePage = firstDeclaredPage(header);
  if (codePage == 0) {
    if (job.firstDeclared == LoadJob::kNotLookedFor) {
      job.firstDeclared = firstDeclaredPage(job.wholeText);
    }
    codePage = job.firstDeclared;
  }
  DataBuffer utf8;
  if (!appendAllAsUtf8(codePage, header, utf8, job.log)) job.outOfMemory = true;
  header_.loadMimeHeaderText(utf8.view(), MimeHeader::kTerminator, CharsetNaming::kUtf8,
                             &job.charsetClue, job.log, utf8.getSize());
}

bool MimeMessage2::loadWithoutHeaderEnd(std::string_view text, std::size_t originalSize,
                                        LoadJob& job) {
  job.log.LogInfo("End-of-header not found.");
  bodyLoaded_ = true;
  // Comes here when the line ends of a text that begins with its only blank line were repaired.
  if (text.starts_with("\r\n")) {
    job.log.LogInfo(
        "Parsing MIME assuming an empty header.  The default content-type is text/plain.");
    header_.addMimeField("Content-Type", "text/plain", job.log);
    cacheAll(job.log);
    decodeBody(job, [text](BodyDecoder& decoder) { decoder.setMimeBodyByEncoding(text, 0, true); });
    return true;
  }
  if (originalSize >= kHeaderTooLarge) {
    job.log.LogError("Header larger than 20MB?  This cannot be MIME...");
    clear();
    return false;
  }
  job.log.LogInfo("Assuming the entire MIME message is a header with no body.");
  loadHeader(text, MimeHeader::kTerminator, text.size(), job);
  job.fieldsLeft -= header_.getNumFields();
  cacheAll(job.log);
  return true;
}

void MimeMessage2::cacheAll(LogBase& log) {
  StringBuffer decoded;
  if (const auto value = decodedValue(header_, "content-type", decoded, log)) {
    contentType_.loadFromMimeHeaderValue(*value, m_charset, log);
  }
  if (const auto value = decodedValue(header_, "content-id", decoded, log)) {
    contentId_.setString(upToSemicolon(trimmed(*value)));
  }
  cacheDisposition(log);
  if (const auto value = decodedValue(header_, "content-transfer-encoding", decoded, log)) {
    encoding_.setString(upToSemicolon(trimmed(*value)));
  }
}

void MimeMessage2::cacheDisposition(LogBase& log) {
  StringBuffer decoded;
  const auto value = decodedValue(header_, "content-disposition", decoded, log);
  if (!value) return;
  ParamString params;
  params.setString(*value, true);
  ParseEngine cursor(params.view());
  cursor.eliminateChar(' ', params.text());
  cursor.eliminateChar('\t', params.text());
  disposition_.setString(params.resolve(cursor.captureToNextChar(';')));
  disposition_.toLowerCase();

  beyondLimits_ = beyondLimits_ || params.isBeyondLimits();
  StringBuffer starText;
  for (int taken = 0;; ++taken) {
    cursor.skipChars(";\r\n");
    const std::string_view attr = cursor.captureToNextChar('=');
    if (!cursor.consumeIf('=')) break;
    if (taken == limits::kMaxParameters) {
      log.LogError("Too many parameters -- the rest stays in the field alone.");
      beyondLimits_ = true;
      break;
    }
    const std::string_view attrValue = params.resolve(cursor.captureToNextChar(';'));
    // A plain filename ends the loop: it wins over star forms on either side of it.
    if (equalsNoCase(attr, "filename")) {
      filename_.setString(attrValue);
      return;
    }
    if (equalsNoCase(attr, "filename*0*")) {
      starText.setString(attrValue);
    } else if (beginsWithNoCase(attr, "filename*")) {
      starText.append(attrValue);
    }
  }
  if (starText.isEmpty()) return;
  StringBuffer charset;
  filename_.weakClear();
  ContentCoding().decodeStarEncoded(starText, {}, filename_, charset, log);
}

void MimeMessage2::parseMimeBody(std::string_view body, LoadJob& job, int depth) {
  LogContextExitor context(job.log, "parseMimeBody");
  if (isMultipart() && !contentType_.boundary().isEmpty()) {
    parseMultipart(body, job, depth);
  } else {
    decodeBody(job, [body](BodyDecoder& decoder) { decoder.parseSinglePart(body); });
  }
}

template <typename Step>
void MimeMessage2::decodeBody(LoadJob& job, const Step& step) {
  BodyDecoder decoder({header_, contentType_, encoding_, isAttachment(job.log), m_charset, m_body},
                      job);
  step(decoder);
  if (!decoder.newEncoding().empty()) setContentEncoding(decoder.newEncoding(), job.log);
  if (decoder.isReallyHtml()) setContentType("text/html", job.log);
}

void MimeMessage2::parseMultipart(std::string_view body, LoadJob& job, int depth) {
  if (depth >= limits::kMaxNesting) {
    beyondLimits_ = true;
    job.log.LogError("Nested too deeply -- the rest is kept unparsed.");
    decodeBody(job, [body](BodyDecoder& decoder) { decoder.keepUnparsed(body); });
    return;
  }
  Delimiter delimiter;
  if (!findDelimiter(body, delimiter, job.log)) {
    job.log.LogInfo("No boundary found -- loading the body with all that follows.");
    decodeBody(job, [body](BodyDecoder& decoder) { decoder.keepUnparsed(body); });
    return;
  }
  walkParts(body, delimiter, job, depth);
  if (delimiter.isAnsi) renameBoundaryTo7bit(job.log);
}

bool MimeMessage2::findDelimiter(std::string_view body, Delimiter& delimiter, LogBase& log) {
  LogContextExitor context(log, "findBoundary");
  const StringBuffer& boundary = contentType_.boundary();
  if (delimiter.find(body, boundary.view(), log)) return true;
  log.LogInfo("Still did not find boundary...");
  // A mail system that leaves its boundary unquoted although it has a blank behind this word; the
  // blank goes when the parameter is read.
  if (boundary.containsSubstring("=_alternative")) {
    StringBuffer withBlank(boundary);
    withBlank.replaceFirstOccurance("=_alternative", "=_alternative ", false);
    if (delimiter.find(body, withBlank.view(), log)) {
      contentType_.setBoundary(withBlank.view());
      return true;
    }
  }
  if (!boundary.is7bit(0)) {
    log.LogInfo("Still looking for the boundary: Searching using ANSI instead...");
    StringBuffer ansi(boundary);
    cvUtf8ToAnsi(ansi);
    delimiter.isAnsi = true;
    return delimiter.find(body, ansi.view(), log);
  }
  return false;
}

void MimeMessage2::walkParts(std::string_view body, const Delimiter& delimiter, LoadJob& job,
                             int depth) {
  const std::string_view open = delimiter.open.view();
  std::size_t at = delimiter.first + open.size();
  for (bool last = false; !last;) {
    if (job.partsLeft == 0) {
      const std::size_t close = body.rfind(delimiter.close.view());
      const std::size_t end = close == kNone || close < at + delimiter.lineEnd
                                  ? body.size()
                                  : close - delimiter.lineEnd;
      keepRestAsPart(body.substr(at, end - at), job);
      return;
    }
    std::size_t stop = findBytes(body, open, at);
    last = stop == kNone;
    // Only the last part is looked through for the close, so that the walk stays linear.
    if (last) stop = findBytes(body, delimiter.close.view(), at);
    const std::size_t span = (stop == kNone ? body.size() : stop) - at;
    const std::size_t cut = stop == kNone ? 0 : delimiter.lineEnd;
    const std::size_t length = span > cut ? span - cut : 0;
    if (length >= kMinPartSize && !loadPart(body.substr(at, length), job, depth)) return;
    at = last ? at : stop + open.size();
  }
}

bool MimeMessage2::loadPart(std::string_view text, LoadJob& job, int depth) {
  std::unique_ptr<MimeMessage2> part(new (std::nothrow) MimeMessage2);
  if (!part) {
    job.log.LogError("Out of memory allocating MimeMessage2.");
    job.outOfMemory = true;
    return false;
  }
  --job.partsLeft;
  // Signatures of this kind cover the bytes as they came, and a rewritten part would break them.
  // What is signed within is among these bytes already.
  const bool keepsSigned = !job.isInsideSigned && subparts_.isEmpty() &&
                           isMultipartSigned(job.log) &&
                           !contentType_.protocol().equalsIgnoreCase("application/pgp-signature");
  job.isInsideSigned = job.isInsideSigned || keepsSigned;
  (void)part->loadEntity(text, job, depth + 1);
  if (keepsSigned) {
    job.isInsideSigned = false;
    if (!signedData_.ensureBuffer(text.size()) || !signedData_.append(text)) job.outOfMemory = true;
  }
  if (!appendPart(std::move(part))) job.outOfMemory = true;
  return !job.outOfMemory;
}

// Delimiters and all, but for the close, so that nothing of it is lost. It is written as a part
// with a header, which the next reading finds here again and takes off.
void MimeMessage2::keepRestAsPart(std::string_view rest, LoadJob& job) {
  constexpr std::string_view kHeader = "Content-Type: text/plain\r\n\r\n";
  job.log.LogError("Too many parts -- the rest is kept as text.");
  beyondLimits_ = true;
  std::unique_ptr<MimeMessage2> part(new (std::nothrow) MimeMessage2);
  if (!part || !part->header_.addMimeField("Content-Type", "text/plain", job.log)) {
    job.outOfMemory = true;
    return;
  }
  part->cacheAll(job.log);
  if (rest.starts_with(kHeader)) rest.remove_prefix(kHeader.size());
  part->decodeBody(job, [rest](BodyDecoder& decoder) { decoder.keepUnparsed(rest); });
  part->bodyLoaded_ = true;
  if (!appendPart(std::move(part))) job.outOfMemory = true;
}

void MimeMessage2::renameBoundaryTo7bit(LogBase& log) {
  StringBuffer renamed(contentType_.boundary());
  char* bytes = renamed.getString_rw();
  for (std::uint32_t i = 0; i < renamed.getSize(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte <= 0x80) continue;
    const int low = byte ^ 0x80;
    bytes[i] = static_cast<char>(low < 48 ? 48 : low > 122 ? 122 : low);
  }
  if (renamed.equals(contentType_.boundary())) return;
  setBoundary(renamed.view(), log);
}

}  // namespace keldane::mime
