// Which text of a mail is its text.
#include <algorithm>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/email/email.h"
#include "mime/email/email_parts.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kMixed = "multipart/mixed";
constexpr std::string_view kAlternative = "multipart/alternative";
constexpr std::string_view kRelated = "multipart/related";
constexpr std::string_view kReport = "multipart/report";
constexpr std::string_view kSigned = "multipart/signed";
constexpr std::string_view kPlain = "text/plain";
constexpr std::string_view kHtml = "text/html";
/// A body longer than this is not kept beyond its use.
constexpr std::size_t kLargeBody = 1U << 20U;

}  // namespace

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

bool Email2::hasBodyOfType(std::string_view type) {
  Email2* part = this;
  while (part->isMultipart()) {
    if (part->isType(kAlternative)) {
      PartList list;
      return part->getAlternativeIndexByContentType(type, list) >= 0;
    }
    part = part->getPart(0);
    if (!part) return false;
  }
  return equalsNoCase(part->comparedType(), type);
}

std::string_view Email2::comparedType() const {
  return contentType().empty() && getNumParts() == 0 ? kPlain : contentType();
}

// ---- The candidates

void Email2::checkAddEmailUniqueContentType(PartList& list) {
  if (list.size() >= kMaxAlternatives) return;
  const bool isKnown = std::any_of(list.begin(), list.end(), [this](const Email2* known) {
    return equalsNoCase(known->comparedType(), comparedType());
  });
  if (!isKnown) list.push_back(this);
}

void Email2::enumerateAlternatives(const Email2& root, PartList& list) {
  if (this == &root && contentType().empty() && disposition().empty()) {
    checkAddEmailUniqueContentType(list);
  } else if (isType(kSigned)) {
    for (int i = 0; i < getNumParts(); ++i) {
      if (containsBytes(getPart(i)->contentType(), "pkcs7")) continue;
      getPart(i)->enumerateAlternatives(root, list);
      return;
    }
  } else if (isType(kMixed)) {
    enumerateMixed(root, list);
  } else if (isType(kAlternative) || isType(kRelated)) {
    enumerateAlternativeOrRelated(root, list);
  } else if (comparedType().starts_with("text/") && !isNotAlternativeBody()) {
    checkAddEmailUniqueContentType(list);
  }
}

void Email2::enumerateMixed(const Email2& root, PartList& list) {
  for (const std::string_view kind : {kRelated, kAlternative, kMixed}) {
    for (int i = 0; i < getNumParts(); ++i) {
      if (getPart(i)->isType(kind)) getPart(i)->enumerateAlternatives(root, list);
    }
  }
  for (int i = 0; i < getNumParts(); ++i) {
    Email2* part = getPart(i);
    if (part->comparedType().starts_with("text/") && !part->isNotAlternativeBody()) {
      part->checkAddEmailUniqueContentType(list);
    }
  }
}

void Email2::enumerateAlternativeOrRelated(const Email2& root, PartList& list) {
  for (int i = 0; i < getNumParts(); ++i) {
    Email2* part = getPart(i);
    const bool isText = part->comparedType().starts_with("text/");
    if (isText || part->isType(kAlternative) || part->isType(kRelated)) {
      part->enumerateAlternatives(root, list);
    }
  }
  if (!isType(kAlternative)) return;
  for (int i = 0; i < getNumParts(); ++i) {
    if (getPart(i)->isType(kMixed)) getPart(i)->enumerateAlternatives(root, list);
  }
}

int Email2::getAlternativeIndexByContentType(std::string_view type, PartList& list) {
  list.clear();
  enumerateAlternatives(*this, list);
  const auto found = std::find_if(list.begin(), list.end(), [type](const Email2* part) {
    return equalsNoCase(part->comparedType(), type);
  });
  return found == list.end() ? -1 : static_cast<int>(found - list.begin());
}

Email2* Email2::effectiveBodyPart() {
  Email2* part = this;
  while (part->getNumParts() != 0) {
    Email2* next = part->getPart(0);
    Email2* second = part->getPart(1);
    if (next->isNotAlternativeBody() && second && !second->isNotAlternativeBody()) next = second;
    if (!next->isMultipart()) break;
    part = next;
  }
  if (part->getNumParts() != 0) {
    for (int i = 0; i < part->getNumParts(); ++i) {
      Email2* child = part->getPart(i);
      if (!child->isMultipart() && !child->isNotAlternativeBody()) return child;
    }
    return nullptr;
  }
  for (const std::string_view kind : {"application", "image", "video", "audio"}) {
    if (part->contentType().substr(0, kind.size()) == kind) return nullptr;
  }
  return part;
}

// ---- The answers

bool Email2::findPlainText(PartList& texts, LogBase& log) {
  const auto found = [&texts, &log](Email2* part, const char* message) {
    if (log.verbose()) log.LogInfo(message);
    texts.push_back(part);
    return true;
  };
  Email2* first = getPart(0);
  if (isType(kReport) && first) return found(first, "Found text body (1)");
  if (isType(kPlain) || contentType().empty()) return found(this, "Found text body (2)");
  if (isType(kMixed) && first && first->comparedType() == kPlain) {
    found(first, "Found text body (3)");
    // Several texts in a row are one text: mail programs cut it where an attachment was put in.
    for (int i = 1; i < getNumParts(); ++i) {
      Email2* part = getPart(i);
      if (part->comparedType() == kPlain && !part->isEmailAttachment(true)) texts.push_back(part);
    }
    return true;
  }
  PartList list;
  const int index = getAlternativeIndexByContentType(kPlain, list);
  if (index >= 0) return found(list[static_cast<std::size_t>(index)], "Found text body (4)");
  if (isType(kMixed) && first && first->isType(kReport) && first->getPart(0)) {
    return found(first->getPart(0), "Found text body (5)");
  }
  log.LogError("Did not find alternative based on content-type");
  return false;
}

bool Email2::getPlainTextBodyUtf8(std::string& out, LogBase& log, const PartList* kept) {
  const LogContextExitor context(log, "getPlainTextBodyUtf8");
  PartList texts;
  if (!findPlainText(texts, log)) return false;
  std::size_t size = 0;
  for (Email2*& text : texts) {
    text = text->effectiveBodyPart();
    if (text) size += text->body().getSize() + 2;
  }
  if (texts.size() > 1) out.reserve(size);
  readBody(texts.front(), true, kept, out);
  for (std::size_t i = 1; i < texts.size(); ++i) {
    out += "\r\n";
    Email2* leaf = texts[i];
    if (mayTake(leaf, kept)) {
      appendTakenBody(leaf->m_body, true, out);
    } else if (leaf) {
      appendBodyAsText(leaf->body().view(), true, out);
    }
  }
  return true;
}

bool Email2::getHtmlBodyUtf8(std::string& out, LogBase& log, const PartList* kept) {
  const LogContextExitor context(log, "getHtmlBodyUtf8");
  Email2* html = findHtml();
  if (!html) {
    log.LogError("No HTML alternative.");
    return false;
  }
  readBody(html->effectiveBodyPart(), html == this, kept, out);
  return true;
}

bool Email2::mayTake(const Email2* leaf, const PartList* kept) {
  return kept && leaf && leaf->m_body.getSize() > kLargeBody &&
         std::find(kept->begin(), kept->end(), leaf) == kept->end();
}

void Email2::readBody(Email2* leaf, bool nulsToBlanks, const PartList* kept, std::string& out) {
  if (mayTake(leaf, kept)) {
    takeBodyAsText(leaf->m_body, nulsToBlanks, out);
  } else {
    bodyToText(leaf ? leaf->body().view() : std::string_view(), nulsToBlanks, out);
  }
}

Email2* Email2::htmlLeaf() {
  Email2* html = findHtml();
  return html ? html->effectiveBodyPart() : nullptr;
}

Email2* Email2::findHtml() {
  if (isType(kHtml)) return this;
  PartList list;
  const int index = getAlternativeIndexByContentType(kHtml, list);
  return index >= 0 ? list[static_cast<std::size_t>(index)] : findHtmlPart();
}

Email2* Email2::findHtmlPart() {
  Email2* part = this;
  while (part && part->isMultipart() && !part->isType(kAlternative)) part = part->getPart(0);
  if (!part || part->isType(kHtml)) return part;
  for (int i = 0; i < part->getNumParts(); ++i) {
    if (part->getPart(i)->isType(kHtml)) return part->getPart(i);
  }
  return nullptr;
}

}  // namespace keldane::mime
