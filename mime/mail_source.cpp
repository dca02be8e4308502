#include "mime/mail_source.h"

namespace keldane::mime {
namespace {

/// Of a source longer than this nothing is kept beyond its use.
constexpr std::size_t kLargeBytes = 1U << 20U;

}  // namespace

Result<void> MailSource::load(std::string_view text, const Options&) {
  email_.emplace();
  if (!mime_->LoadMime(text)) return Failure{mime_->LastErrorText()};
  dateField_ = mime_->GetHeaderField("Date");
  receivedField_ = mime_->GetHeaderField("received");
  const std::optional<std::string> mimeText = mime_->GetMime();
  if (!mimeText) return Failure{mime_->LastErrorText()};
  if (text.size() > kLargeBytes) mime_.emplace();
  if (!email_->SetFromMimeText(*mimeText)) return Failure{email_->LastErrorText()};
  return {};
}

void MailSource::clear() {
  mime_.emplace();
  email_.emplace();
}

}  // namespace keldane::mime
