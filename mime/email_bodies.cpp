// Which text of a mail is its text.
#include <algorithm>

#include "mime/byte_search.h"
#include "mime/email.h"
#include "mime/email_parts.h"
#include "mime/log_base.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kMixed = "multipart/mixed";
constexpr std::string_view kAlternative = "multipart/alternative";
constexpr std::string_view kRelated = "multipart/related";
constexpr std::string_view kReport = "multipart/report";
constexpr std::string_view kSigned = "multipart/signed";
constexpr std::string_view kPlain = "text/plain";
constexpr std::string_view kHtml = "text/html";

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

std::string_view Email2::getEffectiveBodyData() const {
  const Email2* part = this;
  while (part->getNumParts() != 0) {
    const Email2* next = part->getPart(0);
    const Email2* second = part->getPart(1);
    if (next->isNotAlternativeBody() && second && !second->isNotAlternativeBody()) next = second;
    if (!next->isMultipart()) break;
    part = next;
  }
  if (part->getNumParts() != 0) {
    for (int i = 0; i < part->getNumParts(); ++i) {
      const Email2* child = part->getPart(i);
      if (!child->isMultipart() && !child->isNotAlternativeBody()) return child->body().view();
    }
    return {};
  }
  for (const std::string_view kind : {"application", "image", "video", "audio"}) {
    if (part->contentType().substr(0, kind.size()) == kind) return {};
  }
  return part->body().view();
}

// ---- The answers

bool Email2::getPlainTextBodyUtf8(std::string& out, LogBase& log) {
  const LogContextExitor context(log, "getPlainTextBodyUtf8");
  const auto found = [&out, &log](const Email2& part, const char* message) {
    if (log.verbose()) log.LogInfo(message);
    bodyToText(part.getEffectiveBodyData(), true, out);
    return true;
  };
  const Email2* first = getPart(0);
  if (isType(kReport) && first) return found(*first, "Found text body (1)");
  if (isType(kPlain) || contentType().empty()) return found(*this, "Found text body (2)");
  if (isType(kMixed) && first && first->comparedType() == kPlain) {
    return getMixedPlainText(out, log);
  }
  PartList list;
  const int index = getAlternativeIndexByContentType(kPlain, list);
  if (index >= 0) return found(*list[static_cast<std::size_t>(index)], "Found text body (4)");
  if (isType(kMixed) && first && first->isType(kReport) && first->getPart(0)) {
    return found(*first->getPart(0), "Found text body (5)");
  }
  log.LogError("Did not find alternative based on content-type");
  return false;
}

// Several texts in a row are one text: mail programs cut it where an attachment was put into it.
bool Email2::getMixedPlainText(std::string& out, LogBase& log) const {
  if (log.verbose()) log.LogInfo("Found text body (3)");
  const std::string_view first = getPart(0)->getEffectiveBodyData();
  std::string joined;
  bool isJoined = false;
  for (int i = 1; i < getNumParts(); ++i) {
    const Email2* part = getPart(i);
    if (part->comparedType() != kPlain || part->isEmailAttachment(true)) continue;
    if (!isJoined) joined.assign(first);
    isJoined = true;
    joined += "\r\n";
    joined += part->getEffectiveBodyData();
  }
  if (isJoined) {
    takeBodyAsText(joined, true, out);
  } else {
    bodyToText(first, true, out);
  }
  return true;
}

bool Email2::getHtmlBodyUtf8(std::string& out, LogBase& log) {
  const LogContextExitor context(log, "getHtmlBodyUtf8");
  if (isType(kHtml)) {
    bodyToText(getEffectiveBodyData(), true, out);
    return true;
  }
  PartList list;
  const int index = getAlternativeIndexByContentType(kHtml, list);
  const Email2* html = index >= 0 ? list[static_cast<std::size_t>(index)] : findHtmlPart();
  if (!html) {
    log.LogError("No HTML alternative.");
    return false;
  }
  bodyToText(html->getEffectiveBodyData(), false, out);
  return true;
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
