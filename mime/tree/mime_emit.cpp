#include "mime/tree/mime_emit.h"

#include <algorithm>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/code_pages.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/content_coding.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kCrLf = "\r\n";
constexpr std::string_view kPreamble = "This is a multi-part message in MIME format.\r\n\r\n";
/// Bytes encoded at a time: whole base64 lines, so that the pieces join without a seam.
constexpr std::size_t kBase64Piece = 57 * 1024;
constexpr std::size_t kHeaderEstimate = 512;
constexpr std::uint32_t kLargeScratch = 1U << 20U;

/// Text, XML and JSON, which are written in the charset that they declare.
bool isTextLike(const StringBuffer& type) {
  return type.beginsWith("text/") || type.containsSubstring("xml") ||
         type.containsSubstring("json");
}

bool isEncoded(const StringBuffer& encoding) {
  return encoding.equalsIgnoreCase("base64") || encoding.equalsIgnoreCase("quoted-printable");
}

/// A text of many megabytes for a charset of one byte a character, converted piece by piece: of the
/// UTF-16 on the way, twice its bytes, there is never more than a piece. False, and nothing done,
/// for any other text.
bool encodeInPieces(int codePage, std::string_view utf8, DataBuffer& out, LogBase& log) {
  constexpr std::size_t kPiece = 1U << 20U;
  constexpr char kPdfMark = '%';     // A piece that begins as a PDF would be left alone,
  constexpr char kBomLead = '\xEF';  // and one that begins with a BOM would lose it.
  const auto mayBegin = [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80 && c != kPdfMark && c != kBomLead;
  };
  if (utf8.size() <= kPiece || !mayBegin(utf8.front()) || !isValidUtf8(utf8)) return false;
  const code_pages::Page* page = code_pages::find(codePage);
  if (!page || !page->single) return false;
  if (!out.ensureBuffer(utf8.size())) return false;
  EncodingConvert convert;
  while (!utf8.empty()) {
    std::size_t size = std::min(kPiece, utf8.size());
    while (size < utf8.size() && !mayBegin(utf8[size])) ++size;
    if (!convert.EncConvert(CharsetNaming::kUtf8, codePage, utf8.substr(0, size), out, log)) {
      out.clear();
      return false;
    }
    utf8.remove_prefix(size);
  }
  return true;
}

/// Writes one tree. `scratch_` is used again for each header and each encoded body.
class Emitter {
 public:
  /// `rawAsUtf8`: what goes out as it stands goes out in UTF-8.
  Emitter(DataBuffer& out, bool rawAsUtf8, LogBase& log)
      : out_(out), rawAsUtf8_(rawAsUtf8), log_(log) {}

  bool assemble2(const MimeMessage2& entity, bool noHeader);

 private:
  bool header(const MimeMessage2& entity);
  bool body(const MimeMessage2& entity);
  bool parts(const MimeMessage2& entity);
  bool base64(std::string_view bytes);
  bool quotedPrintable(std::string_view bytes);
  bool writesInCharset(const MimeMessage2& entity) const;
  bool writesSigned(const MimeMessage2& entity) const;

  DataBuffer& out_;
  bool rawAsUtf8_;
  LogBase& log_;
  StringBuffer scratch_;
};

bool Emitter::assemble2(const MimeMessage2& entity, bool noHeader) {
  if (!noHeader && !header(entity)) return false;
  return entity.getNumParts() > 0 ? parts(entity) : body(entity);
}

bool Emitter::header(const MimeMessage2& entity) {
  // Field by field: a header can be the whole message, and would stand in the scratch text too.
  const MimeHeader& fields = entity.getHeader();
  const int codePage = entity.getCharset().getCodePage();
  std::string_view between;
  for (int i = 0; i < fields.getNumFields(); ++i) {
    const MimeField* field = fields.fieldAt(i);
    if (!field) continue;
    scratch_.weakClear();
    field->emitMfEncoded(scratch_, codePage, fields.control(), log_);
    if (!out_.append(between) || !out_.append(scratch_.view())) return false;
    between = kCrLf;
  }
  const DataBuffer& unparsed = fields.unparsed();
  if (!unparsed.isEmpty() && (!out_.append(between) || !out_.append(unparsed))) return false;
  if (scratch_.getCapacity() > kLargeScratch) scratch_.strongClear();
  return out_.append("\r\n\r\n");
}

bool Emitter::parts(const MimeMessage2& entity) {
  const std::string_view boundary = entity.getContentType().boundary().view();
  if (entity.isPreambleWanted() && !out_.append(kPreamble)) return false;
  for (int i = 0; i < entity.getNumParts(); ++i) {
    const MimeMessage2* part = entity.getPart(i);
    if (!part) continue;
    if (!out_.append("--") || !out_.append(boundary) || !out_.append(kCrLf)) return false;
    const bool asSigned = i == 0 && writesSigned(entity);
    if (asSigned ? !out_.append(entity.getSignedData()) : !assemble2(*part, false)) return false;
    if (!out_.append(kCrLf)) return false;
  }
  return out_.append("--") && out_.append(boundary) && out_.append("--\r\n");
}

bool Emitter::body(const MimeMessage2& entity) {
  // A multipart whose parts were not found was never decoded.
  const bool unparsed = entity.isMultipart() && !entity.getContentType().boundary().isEmpty();
  if (unparsed) return out_.append(entity.getMimeBodyDb());
  DataBuffer converted;
  std::string_view bytes = entity.getMimeBodyDb().view();
  if (writesInCharset(entity)) {
    const int declared = entity.getCharset().getCodePage();
    const int codePage = declared == CharsetNaming::kUsAscii ? 28591 : declared;
    const bool ok =
        encodeInPieces(codePage, bytes, converted, log_) ||
        EncodingConvert().EncConvert(CharsetNaming::kUtf8, codePage, bytes, converted, log_);
    if (ok || !converted.isEmpty()) bytes = converted.view();
  }
  if (entity.getContentEncoding().equalsIgnoreCase("base64")) return base64(bytes);
  if (entity.getContentEncoding().equalsIgnoreCase("quoted-printable"))
    return quotedPrintable(bytes);
  return out_.append(bytes);
}

bool Emitter::writesInCharset(const MimeMessage2& entity) const {
  const int codePage = entity.getCharset().getCodePage();
  if (codePage == 0 || codePage == CharsetNaming::kUtf8 ||
      !isTextLike(entity.getContentType().contentType())) {
    return false;
  }
  const std::string_view body = entity.getMimeBodyDb().view();
  if (CharsetNaming::isLatinFamily(codePage) && isAllAscii(body)) return false;
  if (rawAsUtf8_ && !isEncoded(entity.getContentEncoding())) {
    // Where ASCII is not ASCII, the reader cannot tell the text from one in its charset.
    return isSevenBitCharset(codePage) && isAllAscii(body);
  }
  // What loading left in its own charset goes out as it came.
  if (CharsetNaming::isWide(codePage)) return body.find('\0') == std::string_view::npos;
  return entity.getContentType().contentType().beginsWith("text/") || isValidUtf8(body);
}

/// The bytes that were signed, unless they are those of a file in another charset.
bool Emitter::writesSigned(const MimeMessage2& entity) const {
  return !entity.getSignedData().isEmpty() &&
         (!rawAsUtf8_ || isValidUtf8(entity.getSignedData().view()));
}

bool Emitter::base64(std::string_view bytes) {
  ContentCoding coding;
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, kBase64Piece);
    bytes.remove_prefix(piece.size());
    scratch_.weakClear();
    if (!coding.encodeBase64(piece.data(), piece.size(), scratch_) ||
        !out_.append(scratch_.view())) {
      return false;
    }
  }
  return true;
}

bool Emitter::quotedPrintable(std::string_view bytes) {
  scratch_.weakClear();
  return ContentCoding().encodeQuotedPrintable(bytes.data(), bytes.size(), scratch_) &&
         out_.append(scratch_.view());
}

/// Room that the whole will take, near enough.
std::size_t estimateOf(const MimeMessage2& entity) {
  const std::size_t size = entity.getMimeBodyDb().getSize();
  std::size_t estimate =
      kHeaderEstimate + (isEncoded(entity.getContentEncoding()) ? size + size / 2 : size);
  for (int i = 0; i < entity.getNumParts(); ++i) {
    if (const MimeMessage2* part = entity.getPart(i)) estimate += estimateOf(*part);
  }
  return estimate;
}

bool emit(const MimeMessage2& root, DataBuffer& out, bool noHeader, bool rawAsUtf8, LogBase& log) {
  return out.ensureBuffer(estimateOf(root)) &&
         Emitter(out, rawAsUtf8, log).assemble2(root, noHeader);
}

}  // namespace

bool getMimeTextDb(const MimeMessage2& root, DataBuffer& out, bool noHeader, LogBase& log) {
  LogContextExitor context(log, "getMimeTextDb");
  return emit(root, out, noHeader, false, log);
}

bool getMimeTextUtf8(const MimeMessage2& root, StringBuffer& out, LogBase& log) {
  DataBuffer text;
  return emit(root, text, false, true, log) && out.takeFromDb(text);
}

bool getMimeTextSb(const MimeMessage2& root, StringBuffer& out, bool noHeader, LogBase& log) {
  DataBuffer text;
  if (!getMimeTextDb(root, text, noHeader, log)) return false;
  return out.isEmpty() ? out.takeFromDb(text) : out.append(text);
}

}  // namespace keldane::mime
