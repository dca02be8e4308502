#include "mime/email/email_attachments.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"
#include "mime/coding/uu.h"
#include "mime/headers/type_table.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

std::string_view withoutBom(std::string_view text) {
  return text.starts_with(kBom) ? text.substr(kBom.size()) : text;
}

std::string_view enclosureType(Enclosure kind) {
  switch (kind) {
    case Enclosure::kMixed:
      return "multipart/mixed";
    case Enclosure::kAlternative:
      return "multipart/alternative";
    case Enclosure::kRelated:
      return "multipart/related";
    case Enclosure::kDigest:
      return "multipart/digest";
    case Enclosure::kReport:
      return "multipart/report";
  }
  return {};
}

void attachmentIterate2(Email2& email, bool underMixed, Email2::PartList& list) {
  if (!email.isMultipart() && email.isEmailAttachment(underMixed)) {
    list.push_back(&email);
    return;
  }
  const bool isMixed = email.isMultipartMixedForAttachmentPurposes();
  const bool keepsRelated =
      email.isType("multipart/related") || email.isType("multipart/fax-message");
  const bool passesOn = email.isType("multipart/signed") || email.isType("multipart/encrypted") ||
                        email.isType("multipart/alternative");
  bool seenText = false;
  for (int i = 0; i < email.getNumParts(); ++i) {
    Email2* child = email.getPart(i);
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
      attachmentIterate2(*child, true, list);
    } else if (passesOn) {
      attachmentIterate2(*child, underMixed, list);
    }
    seenText = seenText || isRelated || isAlternative;
  }
}

}  // namespace

Email2::PartList attachments(Email2& email) {
  Email2::PartList list;
  attachmentIterate2(email, email.isMultipartMixedForAttachmentPurposes(), list);
  return list;
}

Email2* findMultipartEnclosure(Email2& email, Enclosure kind, int depth) {
  const std::string_view type = enclosureType(kind);
  if (email.isType(type)) return &email;
  for (int i = 0; i < email.getNumParts(); ++i) {
    if (email.getPart(i)->isType(type)) return email.getPart(i);
  }
  if (depth >= kMaxEnclosureDepth) return nullptr;
  for (int i = 0; i < email.getNumParts(); ++i) {
    if (email.getPart(i)->getNumParts() == 0) continue;
    if (Email2* found = findMultipartEnclosure(*email.getPart(i), kind, depth + 1)) return found;
  }
  return nullptr;
}

Email2::PartList relatedItems(Email2& email) {
  Email2::PartList list;
  Email2* related = findMultipartEnclosure(email, Enclosure::kRelated);
  if (!related) return list;
  // The page itself is no item of it.
  const bool beginsWithPage =
      related->getNumParts() != 0 && related->getPart(0)->isType("text/html");
  for (int i = beginsWithPage ? 1 : 0; i < related->getNumParts(); ++i) {
    list.push_back(related->getPart(i));
  }
  return list;
}

// ---- One attachment or item

void getFilenameUtf8(const Email2& email, std::string& out, LogBase& log) {
  StringBuffer name(email.filename());
  if (name.isEmpty()) name.setString(email.attributeName());
  if (name.isEmpty()) {
    const StringBuffer* location = email.header().getMimeFieldValue("content-location");
    if (location && location->containsChar('.')) name.setString(*location);
  }
  if (name.isEmpty()) {
    const std::string_view extension = TypeTable::extensionForType(email.contentType());
    name.append2("attachedFile.", extension.empty() ? "dat" : extension);
  }
  if (hasEncodedWordMark(name.view())) ContentCoding().QB_DecodeToUtf8(name, log);
  constexpr int kIso2022Jp2 = 50222;
  if (hasIso2022JpEscape(name.view())) {
    convertEncoding(name, kIso2022Jp2, CharsetNaming::kUtf8, log);
  }
  out.assign(withoutBom(name.view()));
}

void getAttachmentData(const Email2& email, std::string& out) {
  if (email.hasEncoding("uuencode") && email.body().beginsWith("begin ")) {
    DataBuffer bytes;
    StringBuffer name;
    if (Uu::uu_decode2(email.body().view(), bytes, name) != std::string_view::npos) {
      out.assign(bytes.view());
      return;
    }
  }
  out.assign(email.body().view());
}

bool getRelatedString(const Email2& email, std::string_view charset, std::string& out,
                      LogBase& log) {
  DataBuffer converted;
  std::string_view text = email.body().view();
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
