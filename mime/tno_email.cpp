#include "mime/tno_email.h"

#include <memory>
#include <new>
#include <utility>

#include "mime/buffers/tarnell_sys_time.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/cls_email.h"

namespace keldane::mime {

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
  return TnEmail::guarded(impl_, 0, [&](ClsEmail& mail) { return mail.get_NumTo(); });
}

std::optional<std::string> TnoEmail::GetTo(int index) {
  return TnEmail::shownText(
      impl_, [index](ClsEmail& mail, std::string& out) { return mail.GetTo(index, out); });
}

std::optional<std::string> TnoEmail::GetToAddr(int index) {
  return TnEmail::shownText(
      impl_, [index](ClsEmail& mail, std::string& out) { return mail.GetToAddr(index, out); });
}

int TnoEmail::NumCC() {
  return TnEmail::guarded(impl_, 0, [&](ClsEmail& mail) { return mail.get_NumCC(); });
}

std::optional<std::string> TnoEmail::GetCC(int index) {
  return TnEmail::shownText(
      impl_, [index](ClsEmail& mail, std::string& out) { return mail.GetCC(index, out); });
}

std::optional<std::string> TnoEmail::GetCcAddr(int index) {
  return TnEmail::shownText(
      impl_, [index](ClsEmail& mail, std::string& out) { return mail.GetCcAddr(index, out); });
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
  return TnEmail::guarded(impl_, false, [&](ClsEmail& mail) { return mail.HasPlainTextBody(); });
}

std::optional<std::string> TnoEmail::GetPlainTextBody() {
  return TnEmail::shownText(
      impl_, [](ClsEmail& mail, std::string& out) { return mail.GetPlainTextBody(out); });
}

bool TnoEmail::HasHtmlBody() {
  return TnEmail::guarded(impl_, false, [&](ClsEmail& mail) { return mail.HasHtmlBody(); });
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
  return TnEmail::guarded(impl_, 0, [&](ClsEmail& mail) { return mail.get_NumAttachments(); });
}

std::optional<std::string> TnoEmail::GetAttachmentFilename(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentFilename(index, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentContentType(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentContentType(index, out);
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
    return mail.GetAttachmentAttr(index, fieldName, attrName, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentString(int index, std::string_view charset) {
  return TnEmail::shownText(impl_, [&](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentString(index, charset, out);
  });
}

int TnoEmail::NumRelatedItems() {
  return TnEmail::guarded(impl_, 0, [&](ClsEmail& mail) { return mail.get_NumRelatedItems(); });
}

std::optional<std::string> TnoEmail::GetRelatedFilename(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.GetRelatedFilename(index, out);
  });
}

std::optional<std::string> TnoEmail::GetRelatedContentType(int index) {
  return TnEmail::shownText(impl_, [index](ClsEmail& mail, std::string& out) {
    return mail.GetRelatedContentType(index, out);
  });
}

std::optional<std::string> TnoEmail::GetRelatedData(int index) {
  return TnEmail::text(
      impl_, [index](ClsEmail& mail, std::string& out) { return mail.GetRelatedData(index, out); });
}

std::optional<std::string> TnoEmail::GetRelatedAttr(int index, std::string_view fieldName,
                                                    std::string_view attrName) {
  return TnEmail::shownText(impl_, [&](ClsEmail& mail, std::string& out) {
    return mail.GetRelatedAttr(index, fieldName, attrName, out);
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
