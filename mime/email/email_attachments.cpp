// Attachments and inline items: which parts they are, and what is in them.
#include <algorithm>
#include <array>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/code_pages.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"
#include "mime/coding/uu.h"
#include "mime/email/email.h"
#include "mime/email/email_parts.h"
#include "mime/headers/type_table.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

bool beginsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

std::string_view withoutBom(std::string_view text) {
  return beginsWith(text, kBom) ? text.substr(kBom.size()) : text;
}

std::string_view withoutTrailingNuls(std::string_view text) {
  while (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  return text;
}

/// Images and the like that a program put into the running text without a name.
bool isMediaType(std::string_view type) {
  return beginsWith(type, "image/") || beginsWith(type, "application/") ||
         beginsWith(type, "audio/") || beginsWith(type, "video/");
}

std::string_view enclosureType(Email2::Enclosure kind) {
  switch (kind) {
    case Email2::Enclosure::kMixed:
      return "multipart/mixed";
    case Email2::Enclosure::kAlternative:
      return "multipart/alternative";
    case Email2::Enclosure::kRelated:
      return "multipart/related";
    case Email2::Enclosure::kDigest:
      return "multipart/digest";
    case Email2::Enclosure::kReport:
      return "multipart/report";
  }
  return {};
}

}  // namespace

// ---- Which parts

bool Email2::isEmailAttachment(bool underMixed) const {
  const std::string_view type = contentType();
  if (isMultipart()) return false;
  if (type == "message/rfc822") {
    return isAttachmentDisposition() && endsWithNoCase(filename(), ".mht");
  }
  if (containsBytes(type, "pkcs7-signature")) return isAttachmentDisposition();
  if (isAttachmentDisposition() || beginsWith(type, "application/")) return true;
  if (disposition_.equalsIgnoreCase2("inline")) {
    if (!filename().empty() || (underMixed && isMediaType(type))) return true;
    return beginsWith(type, "image/") && containsBytes(type, "-tiff");
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
  if (beginsWith(contentType(), "application/")) {
    // A name with both is the query of a web address: a counter or advertisement in the page.
    const bool isQuery = attributeName().find('?') != std::string_view::npos &&
                         attributeName().find('&') != std::string_view::npos;
    return !isQuery;
  }
  return isAttachmentDisposition();
}

void Email2::attachmentIterate2(bool underMixed, PartList& list) {
  if (!isMultipart() && isEmailAttachment(underMixed)) {
    list.push_back(this);
    return;
  }
  const bool isMixed = isMultipartMixedForAttachmentPurposes();
  const bool keepsRelated = isType("multipart/related") || isType("multipart/fax-message");
  const bool passesOn = isType("multipart/signed") || isType("multipart/encrypted") ||
                        isType("multipart/alternative");
  bool seenText = false;
  for (int i = 0; i < getNumParts(); ++i) {
    Email2* child = getPart(i);
    const bool isRelated = child->isType("multipart/related");
    const bool isAlternative = child->isType("multipart/alternative");
    const bool isLeaf = !child->isMultipart();
    // Behind the text of the mail, whatever stands on its own is a file.
    if ((isMixed && seenText && isLeaf && !child->isType("message/rfc822")) ||
        (isMixed && child->isEmailAttachment(true)) ||
        (keepsRelated && child->isStrictAttachment())) {
      list.push_back(child);
    } else if (isMixed && (isRelated || isAlternative || child->isType("multipart/fax-message") ||
                           child->isMultipartMixedForAttachmentPurposes())) {
      child->attachmentIterate2(true, list);
    } else if (passesOn) {
      child->attachmentIterate2(underMixed, list);
    }
    seenText = seenText || isRelated || isAlternative;
  }
}

Email2::PartList Email2::attachments() {
  PartList list;
  attachmentIterate2(isMultipartMixedForAttachmentPurposes(), list);
  return list;
}

Email2* Email2::findMultipartEnclosure(Enclosure kind, int depth) {
  const std::string_view type = enclosureType(kind);
  if (isType(type)) return this;
  for (int i = 0; i < getNumParts(); ++i) {
    if (getPart(i)->isType(type)) return getPart(i);
  }
  if (depth >= kMaxEnclosureDepth) return nullptr;
  for (int i = 0; i < getNumParts(); ++i) {
    if (getPart(i)->getNumParts() == 0) continue;
    if (Email2* found = getPart(i)->findMultipartEnclosure(kind, depth + 1)) return found;
  }
  return nullptr;
}

Email2::PartList Email2::relatedItems() {
  PartList list;
  Email2* related = findMultipartEnclosure(Enclosure::kRelated);
  if (!related) return list;
  // The page itself is no item of it.
  const bool beginsWithPage =
      related->getNumParts() != 0 && related->getPart(0)->isType("text/html");
  for (int i = beginsWithPage ? 1 : 0; i < related->getNumParts(); ++i) {
    list.push_back(related->getPart(i));
  }
  return list;
}

// ---- What is in them

void Email2::getFilenameUtf8(std::string& out, LogBase& log) const {
  StringBuffer name(filename());
  if (name.isEmpty()) name.setString(attributeName());
  if (name.isEmpty()) {
    const StringBuffer* location = header_.getMimeFieldValue("content-location");
    if (location && location->containsChar('.')) name.setString(*location);
  }
  if (name.isEmpty()) {
    const std::string_view extension = TypeTable::extensionForType(contentType());
    name.append2("attachedFile.", extension.empty() ? "dat" : extension);
  }
  if (hasEncodedWordMark(name.view())) ContentCoding().QB_DecodeToUtf8(name, log);
  constexpr int kIso2022Jp2 = 50222;
  if (hasIso2022JpEscape(name.view())) {
    convertEncoding(name, kIso2022Jp2, CharsetNaming::kUtf8, log);
  }
  out.assign(withoutBom(name.view()));
}

void Email2::getAttachmentData(std::string& out) const {
  if (encoding_.equalsIgnoreCase2("uuencode") && m_body.beginsWith("begin ")) {
    DataBuffer bytes;
    StringBuffer name;
    if (Uu::uu_decode2(m_body.view(), bytes, name) != std::string_view::npos) {
      out.assign(bytes.view());
      return;
    }
  }
  out.assign(m_body.view());
}

namespace {

/// The code page to convert from; 65001 when the bytes are to be taken as UTF-8.
int codePageOfText(const DataBuffer& body, std::string_view charsetName, LogBase& log) {
  constexpr std::size_t kLooksWideFrom = 33;
  constexpr std::size_t kLookedAt = 4096;
  _tnCharset charset;
  if (!charset.setByName(charsetName)) {
    log.LogError("Unrecognized charset, assuming utf-8.");
    charset.setByCodePage(CharsetNaming::kUtf8);
  }
  const int obvious = body.detectObviousCodePage();
  if (obvious != -1) return obvious;
  const int codePage = charset.getCodePage() == 0 ? CharsetNaming::kUtf8 : charset.getCodePage();
  if (codePage == 1200 || codePage == 1201) {
    if (body.getSize() < kLooksWideFrom || body.containsChar(0)) return codePage;
    if (log.verbose()) log.LogInfo("text has no nulls, unlikely to be utf-16LE/BE");
    return CharsetNaming::kUtf8;
  }
  return isValidUtf8Limited(body.view(), kLookedAt) ? CharsetNaming::kUtf8 : codePage;
}

/// A text of many megabytes in a charset of one byte a character, converted piece by piece: the
/// whole of it is then in memory once. False, and nothing done, for any other text.
bool convertInPieces(int codePage, std::string_view bytes, std::string& out, LogBase& log) {
  constexpr std::size_t kPiece = 1U << 20U;
  constexpr int kMacArabic = 10004;  // Letters change places in it.
  constexpr char kPdfMark = '%';     // A piece that begins as a PDF would be left alone.
  if (bytes.size() <= kPiece || bytes.front() == kPdfMark || codePage == kMacArabic) return false;
  const code_pages::Page* page = code_pages::find(codePage);
  if (!page || !page->single) return false;
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  const auto ascii = static_cast<std::size_t>(std::count_if(bytes.begin(), bytes.end(), isAscii));
  out.clear();
  out.reserve(ascii + 3 * (bytes.size() - ascii));
  EncodingConvert convert;
  while (!bytes.empty()) {
    std::size_t size = std::min(kPiece, bytes.size());
    while (size < bytes.size() && bytes[size] == kPdfMark) ++size;
    DataBuffer utf8;
    if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes.substr(0, size), utf8, log)) {
      log.LogError("charset conversion to utf-8 was not perfect.");
    }
    out.append(utf8.view());
    bytes.remove_prefix(size);
  }
  while (out.ends_with('\0')) out.pop_back();
  return true;
}

/// Bytes that should be UTF-8 and are not: the first charset that can be converted at all.
void convertByLadder(std::string_view bytes, std::string& out, LogBase& log) {
  constexpr std::array kLadder{1252, 1250, 1251, 1254, 1255, 1253, 932, 1200, 1201};
  if (convertInPieces(kLadder.front(), bytes, out, log)) return;
  EncodingConvert convert;
  for (const int codePage : kLadder) {
    DataBuffer utf8;
    if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes, utf8, log)) continue;
    out.assign(withoutTrailingNuls(withoutBom(utf8.view())));
    return;
  }
  out.assign(bytes);
}

}  // namespace

void Email2::getAttachmentString(std::string_view charset, std::string& out, LogBase& log) const {
  readAttachmentText(m_body, charset, out, log);
}

void readAttachmentText(const DataBuffer& body, std::string_view charset, std::string& out,
                        LogBase& log) {
  constexpr std::size_t kLookedAt = 4096;
  const std::string_view bytes = body.view();
  const int codePage = codePageOfText(body, charset, log);
  if (codePage != CharsetNaming::kUtf8) {
    if (convertInPieces(codePage, bytes, out, log)) return;
    EncodingConvert convert;
    DataBuffer utf8;
    if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes, utf8, log)) {
      log.LogError("charset conversion to utf-8 was not perfect.");
    }
    out.assign(withoutTrailingNuls(withoutBom(utf8.view())));
  } else if (beginsWith(bytes, kBom) || isValidUtf8Limited(bytes, kLookedAt)) {
    out.assign(withoutTrailingNuls(withoutBom(bytes)));
  } else {
    if (log.verbose()) log.LogInfo("Not valid utf-8.");
    convertByLadder(bytes, out, log);
  }
}

bool Email2::getRelatedString(std::string_view charset, std::string& out, LogBase& log) const {
  DataBuffer converted;
  std::string_view text = m_body.view();
  out.clear();
  const int codePage = CharsetNaming::GetCodePage_p(charset);
  if (codePage != 0) {
    EncodingConvert convert;
    const bool ok = convert.EncConvert(codePage, CharsetNaming::kUtf8, text, converted, log);
    // Text of an odd length in UTF-16 counts as not converted, and is all there but for a byte.
    if (!ok && converted.isEmpty() && !text.empty()) return false;
    text = converted.view();
  }
  text = withoutBom(text);
  text = text.substr(0, text.find('\0'));
  // Nobody said that it is text; the bytes of a picture would spoil all that they are stored with.
  if ((codePage == 0 || charset.empty()) && !isValidUtf8(text)) return false;
  out.assign(text);
  return true;
}

}  // namespace keldane::mime
