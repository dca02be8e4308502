// Multiparts nested the wrong way round.
#include <vector>

#include "mime/buffers/log_base.h"
#include "mime/email/email.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kAlternative = "multipart/alternative";
constexpr std::string_view kRelated = "multipart/related";
constexpr std::string_view kMixed = "multipart/mixed";

int findChildOfType(const Email2& part, std::string_view type) {
  for (int i = 0; i < part.getNumParts(); ++i) {
    if (part.getPart(i)->contentType() == type) return i;
  }
  return -1;
}

std::vector<Email2*> takeAll(ExtPtrArray<Email2>& array) {
  std::vector<Email2*> all;
  all.reserve(static_cast<std::size_t>(array.getSize()));
  for (int i = 0; i < array.getSize(); ++i) all.push_back(array.elementAt(i));
  array.setOwnsObjects(false);
  array.removeAllObjects();
  array.setOwnsObjects(true);
  return all;
}

}  // namespace

void Email2::checkFixAltRelatedNesting(LogBase& log) { fixNesting(kAlternative, log); }

void Email2::checkFixRelMixNesting(LogBase& log) { fixNesting(kMixed, log); }

void Email2::fixNesting(std::string_view innerType, LogBase& log) {
  int fixesLeft = kMaxNestingFixes;
  const Email2* settled = nullptr;
  if (isType(kRelated) && findChildOfType(*this, innerType) >= 0) {
    // The root must stay the same object, so it is the contents that change places.
    Part inner = takeInner(innerType, log);
    swapChildrenAndType(*inner);
    settled = inner.get();
    adoptRelated(std::move(inner));
    --fixesLeft;
  }
  fixNestingBelow(innerType, settled, fixesLeft, log);
}

// A related is put right once, or one with a thousand alternatives would become a thousand levels.
void Email2::fixNestingBelow(std::string_view innerType, const Email2* settled, int& fixesLeft,
                             LogBase& log) {
  for (int i = 0; i < getNumParts(); ++i) {
    Email2* child = getPart(i);
    const Email2* settledBelow = nullptr;
    if (child != settled && fixesLeft > 0 && child->isType(kRelated) &&
        findChildOfType(*child, innerType) >= 0) {
      --fixesLeft;
      Part related(subparts_.removeAt(i));
      settledBelow = related.get();
      Part inner = related->takeInner(innerType, log);
      inner->adoptRelated(std::move(related));
      child = inner.get();
      subparts_.insertAt(i, std::move(inner));
    }
    child->fixNestingBelow(innerType, settledBelow, fixesLeft, log);
  }
}

// Takes the inner multipart out of this related, which keeps the page that belonged to it.
Email2::Part Email2::takeInner(std::string_view innerType, LogBase& log) {
  if (log.verbose()) {
    log.LogInfo(innerType == kAlternative
                    ? "Fixing multipart/alternative, multipart/related MIME structure..."
                    : "Fixing multipart/related, multipart/mixed MIME structure...");
  }
  Part inner(subparts_.removeAt(findChildOfType(*this, innerType)));
  const int html = findChildOfType(*inner, "text/html");
  if (html >= 0) subparts_.insertAt(0, Part(inner->subparts_.removeAt(html)));
  return inner;
}

bool Email2::adoptRelated(Part related) {
  // The best alternative comes last; in a mixed the text comes before the files.
  return isType(kAlternative) ? subparts_.appendObject(std::move(related))
                              : subparts_.insertAt(0, std::move(related));
}

void Email2::swapChildrenAndType(Email2& other) {
  const std::vector<Email2*> mine = takeAll(subparts_);
  const std::vector<Email2*> others = takeAll(other.subparts_);
  for (Email2* part : others) subparts_.appendObject(part);
  for (Email2* part : mine) other.subparts_.appendObject(part);
  _tnContentType type;
  type.copyFrom(contentType_);
  contentType_.copyFrom(other.contentType_);
  other.contentType_.copyFrom(type);
  contentTypeChanged_ = true;
  other.contentTypeChanged_ = true;
}

}  // namespace keldane::mime
