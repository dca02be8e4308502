#pragma once

#include <string>
#include <string_view>

#include "mime/buffers/tarnell_sys_time.h"
#include "mime/cls_base.h"
#include "mime/email/attachment_text.h"
#include "mime/email/email_attachments.h"
#include "mime/email/email_bodies.h"
#include "mime/email/email_emit.h"
#include "mime/email/email_load.h"
#include "mime/email/email_repair.h"

namespace keldane::mime {

/// Public face of one mail: the root `Email2` with a lock and a log. Every call starts a fresh log
/// and ends it with "Success." or "Failed."; `out` is replaced, and left empty by a failed call.
///
/// The lists of attachments and related items are made by the first call that asks for one of them
/// and kept until the mail changes, so that a loop over all of them is linear in their number. Only
/// running out of memory throws; `TnoEmail` stops that.
class ClsEmail final : public ClsBase {
 public:
  ClsEmail() = default;

  /// Replaces the mail. False: no mail could be made of the text, and there is none now.
  bool SetFromMimeText(std::string_view utf8Text);

  bool GetHeaderField(std::string_view name, std::string& out);
  /// Empty when missing.
  bool get_Subject(std::string& out);
  bool get_From(std::string& out);
  bool get_FromAddress(std::string& out);

  // A count is 0 without a mail.
  int get_NumTo() { return countRecipients("NumTo", &Email2::to); }
  int get_NumCC() { return countRecipients("NumCC", &Email2::cc); }
  int get_NumBcc() { return countRecipients("NumBcc", &Email2::bcc); }
  bool GetTo(int index, std::string& out) {
    return getRecipient("GetTo", &Email2::to, index, false, out);
  }
  bool GetToAddr(int index, std::string& out) {
    return getRecipient("GetToAddr", &Email2::to, index, true, out);
  }
  bool GetCC(int index, std::string& out) {
    return getRecipient("GetCC", &Email2::cc, index, false, out);
  }
  bool GetCcAddr(int index, std::string& out) {
    return getRecipient("GetCcAddr", &Email2::cc, index, true, out);
  }

  /// The entries of To, then those of Cc, joined by ",", none with a BOM in front.
  bool GetRecipients(std::string& out);

  /// UTC, put right where it is out of range; the present without a mail.
  bool GetDt(TarnellSysTime& out);

  bool HasPlainTextBody() { return hasBody("HasPlainTextBody", "text/plain"); }
  bool HasHtmlBody() { return hasBody("HasHtmlBody", "text/html"); }
  bool GetPlainTextBody(std::string& out);
  bool GetHtmlBody(std::string& out);
  /// The same answers. A huge body that nothing else needs goes as it is read: the plain text is
  /// asked first, neither is asked again, and attachments stay.
  bool TakePlainTextBody(std::string& out);
  bool TakeHtmlBody(std::string& out);

  int get_NumAttachments() { return countItems("NumAttachments", attachments_); }
  bool GetAttachmentFilename(int index, std::string& out) {
    return getFilename("GetAttachmentFilename", attachments_, index, out);
  }
  bool GetAttachmentContentType(int index, std::string& out) {
    return getContentType("GetAttachmentContentType", attachments_, index, out);
  }
  bool GetAttachmentAttr(int index, std::string_view field, std::string_view attr,
                         std::string& out) {
    return getAttr("GetAttachmentAttr", attachments_, index, field, attr, out);
  }
  bool GetAttachmentData(int index, std::string& out);
  bool GetAttachmentString(int index, std::string_view charset, std::string& out);

  int get_NumRelatedItems() { return countItems("NumRelatedItems", relatedItems_); }
  bool GetRelatedFilename(int index, std::string& out) {
    return getFilename("GetRelatedFilename", relatedItems_, index, out);
  }
  bool GetRelatedContentType(int index, std::string& out) {
    return getContentType("GetRelatedContentType", relatedItems_, index, out);
  }
  bool GetRelatedAttr(int index, std::string_view field, std::string_view attr, std::string& out) {
    return getAttr("GetRelatedAttr", relatedItems_, index, field, attr, out);
  }
  bool GetRelatedData(int index, std::string& out);
  bool GetRelatedString(int index, std::string_view charset, std::string& out);

  bool GetMime(std::string& out);

 private:
  using Recipients = const ExtPtrArray<_tnEmailAddress>& (Email2::*)() const;

  /// One list of parts of the mail, and how the log speaks of it.
  struct Items {
    Email2::PartList (*find)(Email2& root);
    const char* outOfRange;
    const char* indexName;
    const char* countName;
    bool isKnown = false;
    Email2::PartList list{};
  };

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
  int countItems(const char* name, Items& items) {
    return count(name,
                 [&items](Email2& email) { return static_cast<int>(listOf(email, items).size()); });
  }
  static const Email2::PartList& listOf(Email2& email, Items& items);
  Email2::PartList itemParts(Email2& email);
  static const Email2* itemAt(Email2& email, Items& items, int index, LogBase& log);
  /// To be called whenever the tree changes: the lists point into it, and what counts as an
  /// attachment depends on transfer encodings too.
  void forgetItems();

  int countRecipients(const char* name, Recipients recipients) {
    return count(name,
                 [recipients](const Email2& email) { return (email.*recipients)().getSize(); });
  }
  bool getRecipient(const char* name, Recipients recipients, int index, bool addressOnly,
                    std::string& out);
  bool hasBody(const char* name, std::string_view type);
  bool getFilename(const char* name, Items& items, int index, std::string& out);
  bool getContentType(const char* name, Items& items, int index, std::string& out);
  bool getAttr(const char* name, Items& items, int index, std::string_view field,
               std::string_view attr, std::string& out);

  Email2::Common common_;
  Email2::Part email_;
  Items attachments_{&attachments, "Attachment index out of range.", "attachmentIndex",
                     "numAttachments"};
  Items relatedItems_{&relatedItems, "Related item index out of range.", "relatedItemIndex",
                      "numRelatedItems"};
};

}  // namespace keldane::mime
