#include "mime/email/email_bodies.h"

#include <algorithm>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/email/body_text.h"

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

// ---- The candidates

void checkAddEmailUniqueContentType(Email2& email, Email2::PartList& list) {
  if (list.size() >= kMaxAlternatives) return;
  const bool isKnown = std::any_of(list.begin(), list.end(), [&email](const Email2* known) {
    return equalsNoCase(known->comparedType(), email.comparedType());
  });
  if (!isKnown) list.push_back(&email);
}

void enumerateAlternatives(Email2& email, const Email2& root, Email2::PartList& list);

void enumerateMixed(Email2& email, const Email2& root, Email2::PartList& list) {
  for (const std::string_view kind : {kRelated, kAlternative, kMixed}) {
    for (int i = 0; i < email.getNumParts(); ++i) {
      if (email.getPart(i)->isType(kind)) enumerateAlternatives(*email.getPart(i), root, list);
    }
  }
  for (int i = 0; i < email.getNumParts(); ++i) {
    Email2* part = email.getPart(i);
    if (part->comparedType().starts_with("text/") && !part->isNotAlternativeBody()) {
      checkAddEmailUniqueContentType(*part, list);
    }
  }
}

void enumerateAlternativeOrRelated(Email2& email, const Email2& root, Email2::PartList& list) {
  for (int i = 0; i < email.getNumParts(); ++i) {
    Email2* part = email.getPart(i);
    const bool isText = part->comparedType().starts_with("text/");
    if (isText || part->isType(kAlternative) || part->isType(kRelated)) {
      enumerateAlternatives(*part, root, list);
    }
  }
  if (!email.isType(kAlternative)) return;
  for (int i = 0; i < email.getNumParts(); ++i) {
    if (email.getPart(i)->isType(kMixed)) enumerateAlternatives(*email.getPart(i), root, list);
  }
}

/// The texts that a reader may choose between, the first of each content type.
void enumerateAlternatives(Email2& email, const Email2& root, Email2::PartList& list) {
  if (&email == &root && email.contentType().empty() && email.disposition().empty()) {
    checkAddEmailUniqueContentType(email, list);
  } else if (email.isType(kSigned)) {
    for (int i = 0; i < email.getNumParts(); ++i) {
      if (containsBytes(email.getPart(i)->contentType(), "pkcs7")) continue;
      enumerateAlternatives(*email.getPart(i), root, list);
      return;
    }
  } else if (email.isType(kMixed)) {
    enumerateMixed(email, root, list);
  } else if (email.isType(kAlternative) || email.isType(kRelated)) {
    enumerateAlternativeOrRelated(email, root, list);
  } else if (email.comparedType().starts_with("text/") && !email.isNotAlternativeBody()) {
    checkAddEmailUniqueContentType(email, list);
  }
}

/// Place in that list of the candidate with this type, or -1; the list is then filled.
int getAlternativeIndexByContentType(Email2& email, std::string_view type, Email2::PartList& list) {
  list.clear();
  enumerateAlternatives(email, email, list);
  const auto found = std::find_if(list.begin(), list.end(), [type](const Email2* part) {
    return equalsNoCase(part->comparedType(), type);
  });
  return found == list.end() ? -1 : static_cast<int>(found - list.begin());
}

/// The part whose bytes stand for the text of this one; null when it is no text.
Email2* effectiveBodyPart(Email2& email) {
  Email2* part = &email;
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

bool findPlainText(Email2& email, Email2::PartList& texts, LogBase& log) {
  const auto found = [&texts, &log](Email2* part, const char* message) {
    if (log.verbose()) log.LogInfo(message);
    texts.push_back(part);
    return true;
  };
  Email2* first = email.getPart(0);
  if (email.isType(kReport) && first) return found(first, "Found text body (1)");
  if (email.isType(kPlain) || email.contentType().empty()) {
    return found(&email, "Found text body (2)");
  }
  if (email.isType(kMixed) && first && first->comparedType() == kPlain) {
    found(first, "Found text body (3)");
    // Several texts in a row are one text: mail programs cut it where an attachment was put in.
    for (int i = 1; i < email.getNumParts(); ++i) {
      Email2* part = email.getPart(i);
      if (part->comparedType() == kPlain && !part->isEmailAttachment(true)) texts.push_back(part);
    }
    return true;
  }
  Email2::PartList list;
  const int index = getAlternativeIndexByContentType(email, kPlain, list);
  if (index >= 0) return found(list[static_cast<std::size_t>(index)], "Found text body (4)");
  if (email.isType(kMixed) && first && first->isType(kReport) && first->getPart(0)) {
    return found(first->getPart(0), "Found text body (5)");
  }
  log.LogError("Did not find alternative based on content-type");
  return false;
}

bool mayTake(const Email2* leaf, const Email2::PartList* kept) {
  return kept && leaf && leaf->body().getSize() > kLargeBody &&
         std::find(kept->begin(), kept->end(), leaf) == kept->end();
}

void readBody(Email2* leaf, bool nulsToBlanks, const Email2::PartList* kept, std::string& out) {
  if (mayTake(leaf, kept)) {
    takeBodyAsText(leaf->body_rw(), nulsToBlanks, out);
  } else {
    bodyToText(leaf ? leaf->body().view() : std::string_view(), nulsToBlanks, out);
  }
}

Email2* findHtmlPart(Email2& email) {
  Email2* part = &email;
  while (part && part->isMultipart() && !part->isType(kAlternative)) part = part->getPart(0);
  if (!part || part->isType(kHtml)) return part;
  for (int i = 0; i < part->getNumParts(); ++i) {
    if (part->getPart(i)->isType(kHtml)) return part->getPart(i);
  }
  return nullptr;
}

Email2* findHtml(Email2& email) {
  if (email.isType(kHtml)) return &email;
  Email2::PartList list;
  const int index = getAlternativeIndexByContentType(email, kHtml, list);
  return index >= 0 ? list[static_cast<std::size_t>(index)] : findHtmlPart(email);
}

}  // namespace

bool hasBodyOfType(Email2& email, std::string_view type) {
  Email2* part = &email;
  while (part->isMultipart()) {
    if (part->isType(kAlternative)) {
      Email2::PartList list;
      return getAlternativeIndexByContentType(*part, type, list) >= 0;
    }
    part = part->getPart(0);
    if (!part) return false;
  }
  return equalsNoCase(part->comparedType(), type);
}

bool getPlainTextBodyUtf8(Email2& email, std::string& out, LogBase& log,
                          const Email2::PartList* kept) {
  const LogContextExitor context(log, "getPlainTextBodyUtf8");
  Email2::PartList texts;
  if (!findPlainText(email, texts, log)) return false;
  std::size_t size = 0;
  for (Email2*& text : texts) {
    text = effectiveBodyPart(*text);
    if (text) size += text->body().getSize() + 2;
  }
  if (texts.size() > 1) out.reserve(size);
  readBody(texts.front(), true, kept, out);
  for (std::size_t i = 1; i < texts.size(); ++i) {
    out += "\r\n";
    Email2* leaf = texts[i];
    if (mayTake(leaf, kept)) {
      appendTakenBody(leaf->body_rw(), true, out);
    } else if (leaf) {
      appendBodyAsText(leaf->body().view(), true, out);
    }
  }
  return true;
}

bool getHtmlBodyUtf8(Email2& email, std::string& out, LogBase& log, const Email2::PartList* kept) {
  const LogContextExitor context(log, "getHtmlBodyUtf8");
  Email2* html = findHtml(email);
  if (!html) {
    log.LogError("No HTML alternative.");
    return false;
  }
  readBody(effectiveBodyPart(*html), html == &email, kept, out);
  return true;
}

Email2* htmlLeaf(Email2& email) {
  Email2* html = findHtml(email);
  return html ? effectiveBodyPart(*html) : nullptr;
}

}  // namespace keldane::mime
