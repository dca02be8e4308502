#include "mime/tno_email.h"

#include <memory>
#include <new>
#include <utility>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/tarnell_sys_time.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/cls_base.h"
#include "mime/coding/encoded_word.h"
#include "mime/email/attachment_text.h"
#include "mime/email/email.h"
#include "mime/email/email_attachments.h"
#include "mime/email/email_bodies.h"
#include "mime/email/email_emit.h"
#include "mime/email/email_load.h"
#include "mime/email/email_repair.h"

namespace keldane::mime {

/// One mail: the root `Email2` with a lock and a log. Every call starts a fresh log
/// and ends it with "Success." or "Failed."; `out` is replaced, and left empty by a failed call.
///
/// The lists of attachments and related items are made by the first call that asks for one of them
/// and kept until the mail changes, so that a loop over all of them is linear in their number. Only
/// running out of memory throws; `TnoEmail` stops that.
class ClsEmail final : public ClsBase {
 public:
  /// One list of parts of the mail, and how the log speaks of it.
  struct Items {
    Email2::PartList (*find)(Email2& root);
    const char* outOfRange;
    const char* indexName;
    const char* countName;
    bool isKnown = false;
    Email2::PartList list{};
  };

  ClsEmail() = default;

  /// Replaces the mail. False: no mail could be made of the text, and there is none now.
  bool SetFromMimeText(std::string_view utf8Text);

  bool GetHeaderField(std::string_view name, std::string& out);
  /// Empty when missing.
  bool get_Subject(std::string& out);
  bool get_From(std::string& out);
  bool get_FromAddress(std::string& out);

  /// The entries of To, then those of Cc, joined by ",", none with a BOM in front.
  bool GetRecipients(std::string& out);

  /// UTC, put right where it is out of range; the present without a mail.
  bool GetDt(TarnellSysTime& out);

  bool GetPlainTextBody(std::string& out);
  bool GetHtmlBody(std::string& out);
  /// The same answers. A huge body that nothing else needs goes as it is read: the plain text is
  /// asked first, neither is asked again, and attachments stay.
  bool TakePlainTextBody(std::string& out);
  bool TakeHtmlBody(std::string& out);

  // The calls that several of the wrapper's share; `name` is the wrapper's. A count is 0 without a
  // mail, an index out of range fails.
  using Recipients = const ExtPtrArray<_tnEmailAddress>& (Email2::*)() const;
  int countRecipients(const char* name, Recipients recipients) {
    return count(name,
                 [recipients](const Email2& email) { return (email.*recipients)().getSize(); });
  }
  bool getRecipient(const char* name, Recipients recipients, int index, bool addressOnly,
                    std::string& out);
  bool hasBody(const char* name, std::string_view type);
  Items& attachmentList() { return attachments_; }
  Items& relatedList() { return relatedItems_; }
  int countItems(const char* name, Items& items) {
    return count(name,
                 [&items](Email2& email) { return static_cast<int>(listOf(email, items).size()); });
  }
  bool getFilename(const char* name, Items& items, int index, std::string& out);
  bool getContentType(const char* name, Items& items, int index, std::string& out);
  bool getAttr(const char* name, Items& items, int index, std::string_view field,
               std::string_view attr, std::string& out);
  bool GetAttachmentData(int index, std::string& out);
  bool GetAttachmentString(int index, std::string_view charset, std::string& out);
  bool GetRelatedData(int index, std::string& out);
  bool GetRelatedString(int index, std::string_view charset, std::string& out);

  bool GetMime(std::string& out);

 private:
  ~ClsEmail() override = default;

  /// The root; null, with the reason in the log, when there is none.
  Email2* root(LogBase& log);

  /// One public call that answers with a text: `question(email, log)` says whether it could.
  template <typename Question>
  bool ask(const char* name, std::string& out, const Question& question) {
    ClsCall call(*this, name);
    out.clear();
    if (!call.ok()) return false;
    Email2* email = root(call.log());
    return call.finish(email != nullptr && question(*email, call.log()));
  }
  template <typename Counter>
  int count(const char* name, const Counter& counter) {
    ClsCall call(*this, name);
    Email2* email = call.ok() ? root(call.log()) : nullptr;
    call.finish(email != nullptr);
    return email ? counter(*email) : 0;
  }
  /// The same about one part of a list; an index out of range fails.
  template <typename Question>
  bool askItem(const char* name, Items& items, int index, std::string& out,
               const Question& question) {
    return ask(name, out, [&](Email2& email, LogBase& log) {
      const Email2* part = itemAt(email, items, index, log);
      return part != nullptr && question(*part, log);
    });
  }
  static const Email2::PartList& listOf(Email2& email, Items& items);
  Email2::PartList itemParts(Email2& email);
  static const Email2* itemAt(Email2& email, Items& items, int index, LogBase& log);
  /// To be called whenever the tree changes: the lists point into it, and what counts as an
  /// attachment depends on transfer encodings too.
  void forgetItems();

  Email2::Common common_;
  Email2::Part email_;
  Items attachments_{&attachments, "Attachment index out of range.", "attachmentIndex",
                     "numAttachments"};
  Items relatedItems_{&relatedItems, "Related item index out of range.", "relatedItemIndex",
                      "numRelatedItems"};
};

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

// ---- The wrapper

/// What the wrapper holds: the mail object, and how texts are meant. The calls take the pointer
/// that the wrapper has, which is null when there was no memory even for the object.
class TnEmail : public TnMultiByteBase {
 public:
  ClsEmail& email() { return *email_; }
  /// Runs a call that fills a text; nothing when it failed. Running out of memory in the caller's
  /// own text is a failed call like any other.
  template <typename Call>
  static std::optional<std::string> text(const std::unique_ptr<TnEmail>& self, const Call& call) {
    return guarded(self, std::optional<std::string>(),
                   [&call](ClsEmail& mail) -> std::optional<std::string> {
                     std::string out;
                     if (!call(mail, out)) return std::nullopt;
                     return out;
                   });
  }
  /// The same for a text that is shown: UTF-8 whatever the message held, and no BOM in front.
  template <typename Call>
  static std::optional<std::string> shownText(const std::unique_ptr<TnEmail>& self,
                                              const Call& call) {
    return text(self, [&call](ClsEmail& mail, std::string& out) {
      constexpr std::string_view kBom = "\xEF\xBB\xBF";
      if (!call(mail, out)) return false;
      if (out.starts_with(kBom)) out.erase(0, kBom.size());
      mendUtf8(out);
      return true;
    });
  }
  template <typename Result, typename Call>
  static Result guarded(const std::unique_ptr<TnEmail>& self, Result ifNoMemory, const Call& call) {
    if (!self) return ifNoMemory;
    ClsEmail& mail = *self->email_;
    mail.put_LastMethodSuccess(false);
    try {
      return call(mail);
    } catch (const std::bad_alloc&) {
      mail.put_LastMethodSuccess(false);
      return ifNoMemory;
    }
  }

 private:
  ClsRef<ClsEmail> email_{new ClsEmail};
};

TnoEmail::TnoEmail() : impl_(makeOrNull<TnEmail>()) {}

TnoEmail::~TnoEmail() = default;

bool TnoEmail::SetFromMimeText(std::string_view text) {
  return TnEmail::guarded(impl_, false, [&](ClsEmail& mail) { return mail.SetFromMimeText(text); });
}

std::optional<std::string> TnoEmail::GetHeaderField(std::string_view name) {
  return TnEmail::shownText(
      impl_, [name](ClsEmail& mail, std::string& out) { return mail.GetHeaderField(name, out); });
}

std::optional<std::string> TnoEmail::Subject() {
  return TnEmail::shownText(impl_,
                            [](ClsEmail& mail, std::string& out) { return mail.get_Subject(out); });
}

std::optional<std::string> TnoEmail::From() {
  return TnEmail::shownText(impl_,
                            [](ClsEmail& mail, std::string& out) { return mail.get_From(out); });
}

std::optional<std::string> TnoEmail::FromAddress() {
  return TnEmail::shownText(
      impl_, [](ClsEmail& mail, std::string& out) { return mail.get_FromAddress(out); });
}

int TnoEmail::NumTo() {
  return TnEmail::guarded(
      impl_, 0, [&](ClsEmail& mail) { return mail.countRecipients("NumTo", &Email2::to); });
}

std::optional<std::string> TnoEmail::GetTo(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getRecipient("GetTo", &Email2::to, index, false, out);
  });
}

std::optional<std::string> TnoEmail::GetToAddr(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getRecipient("GetToAddr", &Email2::to, index, true, out);
  });
}

int TnoEmail::NumCC() {
  return TnEmail::guarded(
      impl_, 0, [&](ClsEmail& mail) { return mail.countRecipients("NumCC", &Email2::cc); });
}

std::optional<std::string> TnoEmail::GetCC(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getRecipient("GetCC", &Email2::cc, index, false, out);
  });
}

std::optional<std::string> TnoEmail::GetCcAddr(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getRecipient("GetCcAddr", &Email2::cc, index, true, out);
  });
}

std::optional<std::string> TnoEmail::GetRecipients() {
  return TnEmail::text(impl_, [](ClsEmail& mail, std::string& out) {
    if (!mail.GetRecipients(out)) return false;
    mendUtf8(out);
    return true;
  });
}

std::unique_ptr<TnoDateTime> TnoEmail::GetDt() {
  return TnEmail::guarded(impl_, std::unique_ptr<TnoDateTime>(), [](ClsEmail& mail) {
    TarnellSysTime time;
    mail.GetDt(time);
    return std::make_unique<TnoDateTime>(time);
  });
}

bool TnoEmail::HasPlainTextBody() {
  return TnEmail::guarded(
      impl_, false, [&](ClsEmail& mail) { return mail.hasBody("HasPlainTextBody", "text/plain"); });
}

std::optional<std::string> TnoEmail::GetPlainTextBody() {
  return TnEmail::shownText(
      impl_, [](ClsEmail& mail, std::string& out) { return mail.GetPlainTextBody(out); });
}

bool TnoEmail::HasHtmlBody() {
  return TnEmail::guarded(impl_, false,
                          [&](ClsEmail& mail) { return mail.hasBody("HasHtmlBody", "text/html"); });
}

std::optional<std::string> TnoEmail::GetHtmlBody() {
  return TnEmail::shownText(impl_,
                            [](ClsEmail& mail, std::string& out) { return mail.GetHtmlBody(out); });
}

std::optional<std::string> TnoEmail::TakePlainTextBody() {
  return TnEmail::shownText(
      impl_, [](ClsEmail& mail, std::string& out) { return mail.TakePlainTextBody(out); });
}

std::optional<std::string> TnoEmail::TakeHtmlBody() {
  return TnEmail::shownText(
      impl_, [](ClsEmail& mail, std::string& out) { return mail.TakeHtmlBody(out); });
}

int TnoEmail::NumAttachments() {
  return TnEmail::guarded(impl_, 0, [&](ClsEmail& mail) {
    return mail.countItems("NumAttachments", mail.attachmentList());
  });
}

std::optional<std::string> TnoEmail::GetAttachmentFilename(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getFilename("GetAttachmentFilename", mail.attachmentList(), index, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentContentType(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getContentType("GetAttachmentContentType", mail.attachmentList(), index, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentData(int index) {
  return TnEmail::text(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentData(index, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentAttr(int index, std::string_view fieldName,
                                                       std::string_view attrName) {
  return TnEmail::shownText(impl_, [&](ClsEmail& mail, std::string& out) {
    return mail.getAttr("GetAttachmentAttr", mail.attachmentList(), index, fieldName, attrName,
                        out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentString(int index, std::string_view charset) {
  return TnEmail::shownText(impl_, [&](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentString(index, charset, out);
  });
}

int TnoEmail::NumRelatedItems() {
  return TnEmail::guarded(impl_, 0, [&](ClsEmail& mail) {
    return mail.countItems("NumRelatedItems", mail.relatedList());
  });
}

std::optional<std::string> TnoEmail::GetRelatedFilename(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getFilename("GetRelatedFilename", mail.relatedList(), index, out);
  });
}

std::optional<std::string> TnoEmail::GetRelatedContentType(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.getContentType("GetRelatedContentType", mail.relatedList(), index, out);
  });
}

std::optional<std::string> TnoEmail::GetRelatedData(int index) {
  return TnEmail::text(
      impl_, [index](ClsEmail& mail, std::string& out) { return mail.GetRelatedData(index, out); });
}

std::optional<std::string> TnoEmail::GetRelatedAttr(int index, std::string_view fieldName,
                                                    std::string_view attrName) {
  return TnEmail::shownText(impl_, [&](ClsEmail& mail, std::string& out) {
    return mail.getAttr("GetRelatedAttr", mail.relatedList(), index, fieldName, attrName, out);
  });
}

std::optional<std::string> TnoEmail::GetRelatedString(int index, std::string_view charset) {
  return TnEmail::shownText(impl_, [&](ClsEmail& mail, std::string& out) {
    return mail.GetRelatedString(index, charset, out);
  });
}

std::optional<std::string> TnoEmail::GetMime() {
  return TnEmail::text(impl_, [](ClsEmail& mail, std::string& out) { return mail.GetMime(out); });
}

bool TnoEmail::LastMethodSuccess() const { return impl_ && impl_->email().get_LastMethodSuccess(); }

std::string TnoEmail::LastErrorText() const {
  return errorTextOf(impl_ ? &impl_->email() : nullptr);
}

void TnoEmail::setVerboseLogging(bool on) {
  if (impl_) impl_->email().put_VerboseLogging(on);
}

}  // namespace keldane::mime
