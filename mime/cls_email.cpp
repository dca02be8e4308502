#include "mime/cls_email.h"

#include <memory>

#include "mime/buffers/byte_search.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

namespace {

/// A stored value as the application reads it: encoded words decoded.
void readField(const StringBuffer& value, std::string& out, LogBase& log) {
  if (!hasEncodedWordMark(value.view())) {
    out.assign(value.view());
    return;
  }
  StringBuffer decoded(value);
  qbDecode(decoded, log);
  out.assign(decoded.view());
}

}  // namespace

Email2* ClsEmail::root(LogBase& log) {
  if (!email_) {
    log.LogError("No internal email object");
    return nullptr;
  }
  if (!email_->isValidObject()) {
    log.LogError("Internal email object is corrupt.");
    // What is left of it cannot be taken apart safely.
    (void)email_.release();
    forgetItems();
    return nullptr;
  }
  return email_.get();
}

bool ClsEmail::SetFromMimeText(std::string_view utf8Text) {
  constexpr std::string_view kBom = "\xEF\xBB\xBF";
  constexpr std::size_t kTooLarge = 0xFFFFFFFF;
  ClsCall call(*this, "SetFromMimeText");
  if (!call.ok()) return false;
  forgetItems();
  email_.reset();
  if (utf8Text.substr(0, kBom.size()) == kBom) utf8Text.remove_prefix(kBom.size());
  while (!utf8Text.empty() && utf8Text.back() == '\0') utf8Text.remove_suffix(1);
  if (utf8Text.size() < kTooLarge) {
    common_ = std::make_shared<_tnEmailCommon>();
    email_ = createFromMimeText2(common_, utf8Text, true, call.log());
  }
  if (!email_) {
    call.log().LogError("Failed to create email object from MIME text");
    return call.finish(false);
  }
  checkFixAltRelatedNesting(*email_, call.log());
  checkFixRelMixNesting(*email_, call.log());
  return call.finish(true);
}

// ---- Header fields

bool ClsEmail::GetHeaderField(std::string_view name, std::string& out) {
  ClsCall call(*this, "GetHeaderField");
  out.clear();
  if (!call.ok()) return false;
  LogBase& log = call.log();
  name = trimmed(name);
  if (name.empty()) {
    log.LogError("Field name is missing");
    return false;
  }
  if (!email_) {
    log.LogError("This is an empty email object.");
    return false;
  }
  const Email2* email = root(log);
  if (!email) return false;
  const StringBuffer* value = email->header().getMimeFieldValue(name);
  if (!value) {
    log.LogError("Header field does not exist");
    log.LogData("fieldName", name);
    return false;
  }
  readField(*value, out, log);
  return call.finish(true);
}

bool ClsEmail::get_Subject(std::string& out) {
  return ask("Subject", out, [&out](Email2& email, LogBase& log) {
    const StringBuffer* value = email.header().getMimeFieldValue("subject");
    if (value) readField(*value, out, log);
    return true;
  });
}

bool ClsEmail::get_From(std::string& out) {
  return ask("From", out, [&out](const Email2& email, LogBase& log) {
    email.getFromFullUtf8(out, log);
    return true;
  });
}

bool ClsEmail::get_FromAddress(std::string& out) {
  return ask("FromAddress", out, [&out](const Email2& email, LogBase&) {
    email.getFromAddressUtf8(out);
    return true;
  });
}

bool ClsEmail::getRecipient(const char* name, Recipients recipients, int index, bool addressOnly,
                            std::string& out) {
  return ask(name, out, [&](const Email2& email, LogBase& log) {
    const _tnEmailAddress* entry = (email.*recipients)().elementAt(index);
    if (!entry) {
      log.LogError("Recipient index out of range.");
      log.LogDataLong("index", index);
      return false;
    }
    if (addressOnly) {
      out.assign(entry->address().utf8View());
      return true;
    }
    entry->emitSelfAsMimeField(out);
    return true;
  });
}

bool ClsEmail::GetRecipients(std::string& out) {
  return ask("GetRecipients", out, [&out](const Email2& email, LogBase&) {
    constexpr std::string_view kBom = "\xEF\xBB\xBF";
    bool isFirst = true;
    for (const auto* list : {&email.to(), &email.cc()}) {
      for (int i = 0; i < list->getSize(); ++i) {
        const _tnEmailAddress* entry = list->elementAt(i);
        if (!entry) continue;
        // Before each and not behind it: the last one may be huge, and nothing grows behind it.
        if (!isFirst) out += ',';
        isFirst = false;
        const std::size_t begin = out.size();
        entry->emitSelfAsMimeField(out);
        if (std::string_view(out).substr(begin).starts_with(kBom)) out.erase(begin, kBom.size());
      }
    }
    return true;
  });
}

bool ClsEmail::GetDt(TarnellSysTime& out) {
  ClsCall call(*this, "GetDt");
  out.getCurrentGmt();
  if (!call.ok()) return false;
  if (email_) {
    out = email_->date();
    out.toGmtSysTime();
  }
  checkFixSystemTime(out);
  return call.finish(true);
}

// ---- Bodies

bool ClsEmail::hasBody(const char* name, std::string_view type) {
  return count(name, [type](Email2& email) { return hasBodyOfType(email, type) ? 1 : 0; }) != 0;
}

bool ClsEmail::GetPlainTextBody(std::string& out) {
  return ask("GetPlainTextBody", out,
             [&out](Email2& email, LogBase& log) { return getPlainTextBodyUtf8(email, out, log); });
}

bool ClsEmail::GetHtmlBody(std::string& out) {
  return ask("GetHtmlBody", out,
             [&out](Email2& email, LogBase& log) { return getHtmlBodyUtf8(email, out, log); });
}

bool ClsEmail::TakePlainTextBody(std::string& out) {
  return ask("TakePlainTextBody", out, [&](Email2& email, LogBase& log) {
    Email2::PartList kept = itemParts(email);
    kept.push_back(htmlLeaf(email));
    return getPlainTextBodyUtf8(email, out, log, &kept);
  });
}

bool ClsEmail::TakeHtmlBody(std::string& out) {
  return ask("TakeHtmlBody", out, [&](Email2& email, LogBase& log) {
    const Email2::PartList kept = itemParts(email);
    return getHtmlBodyUtf8(email, out, log, &kept);
  });
}

Email2::PartList ClsEmail::itemParts(Email2& email) {
  Email2::PartList parts = listOf(email, attachments_);
  const Email2::PartList& related = listOf(email, relatedItems_);
  parts.insert(parts.end(), related.begin(), related.end());
  return parts;
}

// ---- Attachments and related items

const Email2::PartList& ClsEmail::listOf(Email2& email, Items& items) {
  if (!items.isKnown) {
    items.list = items.find(email);
    items.isKnown = true;
  }
  return items.list;
}

void ClsEmail::forgetItems() {
  for (Items* items : {&attachments_, &relatedItems_}) {
    items->isKnown = false;
    items->list.clear();
  }
}

const Email2* ClsEmail::itemAt(Email2& email, Items& items, int index, LogBase& log) {
  const Email2::PartList& list = listOf(email, items);
  if (index >= 0 && static_cast<std::size_t>(index) < list.size()) {
    return list[static_cast<std::size_t>(index)];
  }
  log.LogError(items.outOfRange);
  log.LogDataLong(items.indexName, index);
  log.LogDataLong(items.countName, static_cast<long long>(list.size()));
  return nullptr;
}

bool ClsEmail::getFilename(const char* name, Items& items, int index, std::string& out) {
  return askItem(name, items, index, out, [&out](const Email2& part, LogBase& log) {
    getFilenameUtf8(part, out, log);
    return !out.empty();
  });
}

bool ClsEmail::getContentType(const char* name, Items& items, int index, std::string& out) {
  return askItem(name, items, index, out, [&out](const Email2& part, LogBase&) {
    out.assign(part.contentType());
    return true;
  });
}

bool ClsEmail::getAttr(const char* name, Items& items, int index, std::string_view field,
                       std::string_view attr, std::string& out) {
  return askItem(name, items, index, out, [&](const Email2& part, LogBase& log) {
    StringBuffer value;
    if (!part.header().getSubFieldUtf8(field, attr, value, log)) return false;
    out.assign(value.view());
    return true;
  });
}

bool ClsEmail::GetAttachmentData(int index, std::string& out) {
  return askItem("GetAttachmentData", attachments_, index, out,
                 [&out](const Email2& part, LogBase&) {
                   getAttachmentData(part, out);
                   return true;
                 });
}

bool ClsEmail::GetRelatedData(int index, std::string& out) {
  return askItem("GetRelatedData", relatedItems_, index, out, [&out](const Email2& part, LogBase&) {
    out.assign(part.body().view());
    return true;
  });
}

bool ClsEmail::GetAttachmentString(int index, std::string_view charset, std::string& out) {
  return askItem("GetAttachmentString", attachments_, index, out,
                 [&](const Email2& part, LogBase& log) {
                   readAttachmentText(part.body(), charset, out, log);
                   return true;
                 });
}

bool ClsEmail::GetRelatedString(int index, std::string_view charset, std::string& out) {
  return askItem(
      "GetRelatedString", relatedItems_, index, out,
      [&](const Email2& part, LogBase& log) { return getRelatedString(part, charset, out, log); });
}

bool ClsEmail::GetMime(std::string& out) {
  return ask("GetMime", out, [this, &out](Email2& email, LogBase& log) {
    forgetItems();
    DataBuffer text;
    if (!getMimeText(email, text, log)) return false;
    out.assign(text.view());
    return true;
  });
}

}  // namespace keldane::mime
