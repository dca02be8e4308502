#include "mime/tno_email.h"

#include <new>
#include <utility>

#include "mime/cls_email.h"
#include "mime/tarnell_sys_time.h"
#include "mime/unlabelled_text.h"

namespace keldane::mime {

/// What the wrapper holds: the mail object, and how texts are meant.
class TnEmail : public TnMultiByteBase {
 public:
  ClsEmail& cls() { return *email_; }

  /// Runs a call that fills a text; nothing when it failed. Running out of memory in the caller's
  /// own text is a failed call like any other.
  template <typename Call>
  std::optional<std::string> text(const Call& call) {
    return guarded(std::optional<std::string>(), [&]() -> std::optional<std::string> {
      std::string out;
      if (!call(cls(), out)) return std::nullopt;
      return out;
    });
  }
  /// The same for a text that is shown: UTF-8 whatever the message held, and no BOM in front.
  template <typename Call>
  std::optional<std::string> shownText(const Call& call) {
    return text([&call](ClsEmail& mail, std::string& out) {
      constexpr std::string_view kBom = "\xEF\xBB\xBF";
      if (!call(mail, out)) return false;
      if (out.starts_with(kBom)) out.erase(0, kBom.size());
      mendUtf8(out);
      return true;
    });
  }
  template <typename Result, typename Call>
  Result guarded(Result ifNoMemory, const Call& call) {
    cls().put_LastMethodSuccess(false);
    try {
      return call();
    } catch (const std::bad_alloc&) {
      cls().put_LastMethodSuccess(false);
      return ifNoMemory;
    }
  }

 private:
  ClsRef<ClsEmail> email_{new ClsEmail};
};

TnoEmail::TnoEmail() : impl_(std::make_unique<TnEmail>()) {}

TnoEmail::~TnoEmail() = default;

bool TnoEmail::SetFromMimeText(std::string_view text) {
  return impl_->guarded(false, [&] { return impl_->cls().SetFromMimeText(text); });
}

std::optional<std::string> TnoEmail::GetHeaderField(std::string_view name) {
  return impl_->shownText(
      [name](ClsEmail& mail, std::string& out) { return mail.GetHeaderField(name, out); });
}

std::optional<std::string> TnoEmail::Subject() {
  return impl_->shownText([](ClsEmail& mail, std::string& out) { return mail.get_Subject(out); });
}

std::optional<std::string> TnoEmail::From() {
  return impl_->shownText([](ClsEmail& mail, std::string& out) { return mail.get_From(out); });
}

std::optional<std::string> TnoEmail::FromAddress() {
  return impl_->shownText(
      [](ClsEmail& mail, std::string& out) { return mail.get_FromAddress(out); });
}

int TnoEmail::NumTo() {
  return impl_->guarded(0, [&] { return impl_->cls().get_NumTo(); });
}

std::optional<std::string> TnoEmail::GetTo(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetTo(index, out); });
}

std::optional<std::string> TnoEmail::GetToAddr(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetToAddr(index, out); });
}

int TnoEmail::NumCC() {
  return impl_->guarded(0, [&] { return impl_->cls().get_NumCC(); });
}

std::optional<std::string> TnoEmail::GetCC(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetCC(index, out); });
}

std::optional<std::string> TnoEmail::GetCcAddr(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetCcAddr(index, out); });
}

std::unique_ptr<TnoDateTime> TnoEmail::GetDt() {
  return impl_->guarded(std::unique_ptr<TnoDateTime>(), [&] {
    TarnellSysTime time;
    impl_->cls().GetDt(time);
    return std::make_unique<TnoDateTime>(time);
  });
}

bool TnoEmail::HasPlainTextBody() {
  return impl_->guarded(false, [&] { return impl_->cls().HasPlainTextBody(); });
}

std::optional<std::string> TnoEmail::GetPlainTextBody() {
  return impl_->shownText(
      [](ClsEmail& mail, std::string& out) { return mail.GetPlainTextBody(out); });
}

bool TnoEmail::HasHtmlBody() {
  return impl_->guarded(false, [&] { return impl_->cls().HasHtmlBody(); });
}

std::optional<std::string> TnoEmail::GetHtmlBody() {
  return impl_->shownText([](ClsEmail& mail, std::string& out) { return mail.GetHtmlBody(out); });
}

int TnoEmail::NumAttachments() {
  return impl_->guarded(0, [&] { return impl_->cls().get_NumAttachments(); });
}

std::optional<std::string> TnoEmail::GetAttachmentFilename(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetAttachmentFilename(index, out); });
}

std::optional<std::string> TnoEmail::GetAttachmentContentType(int index) {
  return impl_->shownText([index](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentContentType(index, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentData(int index) {
  return impl_->text(
      [index](ClsEmail& mail, std::string& out) { return mail.GetAttachmentData(index, out); });
}

std::optional<std::string> TnoEmail::GetAttachmentAttr(int index, std::string_view fieldName,
                                                       std::string_view attrName) {
  return impl_->shownText([&](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentAttr(index, fieldName, attrName, out);
  });
}

std::optional<std::string> TnoEmail::GetAttachmentString(int index, std::string_view charset) {
  return impl_->shownText([&](ClsEmail& mail, std::string& out) {
    return mail.GetAttachmentString(index, charset, out);
  });
}

int TnoEmail::NumRelatedItems() {
  return impl_->guarded(0, [&] { return impl_->cls().get_NumRelatedItems(); });
}

std::optional<std::string> TnoEmail::GetRelatedFilename(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetRelatedFilename(index, out); });
}

std::optional<std::string> TnoEmail::GetRelatedContentType(int index) {
  return impl_->shownText(
      [index](ClsEmail& mail, std::string& out) { return mail.GetRelatedContentType(index, out); });
}

std::optional<std::string> TnoEmail::GetRelatedData(int index) {
  return impl_->text(
      [index](ClsEmail& mail, std::string& out) { return mail.GetRelatedData(index, out); });
}

std::optional<std::string> TnoEmail::GetRelatedAttr(int index, std::string_view fieldName,
                                                    std::string_view attrName) {
  return impl_->shownText([&](ClsEmail& mail, std::string& out) {
    return mail.GetRelatedAttr(index, fieldName, attrName, out);
  });
}

std::optional<std::string> TnoEmail::GetRelatedString(int index, std::string_view charset) {
  return impl_->shownText(
      [&](ClsEmail& mail, std::string& out) { return mail.GetRelatedString(index, charset, out); });
}

std::optional<std::string> TnoEmail::GetMime() {
  return impl_->text([](ClsEmail& mail, std::string& out) { return mail.GetMime(out); });
}

bool TnoEmail::LastMethodSuccess() const { return impl_->cls().get_LastMethodSuccess(); }

std::string TnoEmail::LastErrorText() const {
  StringBuffer text;
  impl_->cls().get_LastErrorText(text);
  return std::string(text.view());
}

void TnoEmail::setVerboseLogging(bool on) { impl_->cls().put_VerboseLogging(on); }

}  // namespace keldane::mime
