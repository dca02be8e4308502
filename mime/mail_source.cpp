#include "mime/mail_source.h"

#include <new>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/string_buffer.h"

namespace keldane::mime {
namespace {

/// Of a source longer than this nothing is kept beyond its use.
constexpr std::size_t kLargeBytes = 1U << 20U;
constexpr std::string_view kNoMemory = "There is not enough memory for this message.";

/// The bytes of which `text` is the reading as ISO Latin 1; nullopt when it is not, as a character
/// beyond that charset shows.
std::optional<std::string> latin1Bytes(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    const std::size_t run = asciiRunLength(text.data(), text.size());
    bytes.append(text.substr(0, run));
    text.remove_prefix(run);
    if (text.empty()) break;
    const auto lead = static_cast<unsigned char>(text[0]);
    const bool isLetter = (lead == 0xC2 || lead == 0xC3) && text.size() > 1 &&
                          (static_cast<unsigned char>(text[1]) & 0xC0U) == 0x80;
    if (!isLetter) return std::nullopt;
    bytes += static_cast<char>(((lead & 3U) << 6U) | (static_cast<unsigned char>(text[1]) & 0x3FU));
    text.remove_prefix(2);
  }
  return bytes;
}

/// The last error in the story of a call. A call that succeeded, or failed without a word, has
/// found no memory for its result.
template <typename Object>
Failure failureOf(const Object& object) {
  const std::string story = object.LastErrorText();
  std::string_view reason;
  for (std::string_view rest = story; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = trimmed(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (line == "Success.") return Failure{std::string(kNoMemory)};
    const bool isData = line.starts_with("TarnellVersion: ") || line.starts_with("DllDate: ");
    const bool isContext = line.starts_with("--") || line.ends_with(':');
    const bool isOutcome =
        line == "Failed." || line == "Failed to create email object from MIME text";
    if (!line.empty() && !isData && !isContext && !isOutcome) reason = line;
  }
  return Failure{std::string(reason.empty() ? kNoMemory : reason)};
}

}  // namespace

Result<void> MailSource::load(std::string_view text, const Options& options) {
  email_.emplace();
  try {
    Result<void> loaded = loadChain(text, options);
    if (!loaded) clear();
    return loaded;
  } catch (const std::bad_alloc&) {
    clear();
    return Failure{std::string(kNoMemory)};
  }
}

Result<void> MailSource::loadChain(std::string_view text, const Options& options) {
  std::optional<std::string> bytes;
  if (options.encoding == SourceEncoding::latin1 && options.declaredCharsets) {
    bytes = latin1Bytes(text);
  }
  const bool isLoaded = bytes ? mime_->LoadMimeBytes(*bytes) : mime_->LoadMime(text);
  if (!isLoaded) return failureOf(*mime_);
  bytes.reset();
  beyondLimits_ = mime_->beyondLimits();
  dateField_ = mime_->GetHeaderField("Date");
  receivedField_ = mime_->GetHeaderField("received");
  StringBuffer mimeText;
  if (!mime_->takeMimeText(mimeText)) return failureOf(*mime_);
  if (options.visitTree) options.visitTree(*mime_, mimeText.view());
  // Behind the writing, since it uses the tree up.
  if (options.visitPart && !mime_->takeLeaves(options.visitPart, options.visitContainer)) {
    return failureOf(*mime_);
  }
  if (text.size() > kLargeBytes) mime_.emplace();
  if (!email_->SetFromMimeText(mimeText.view())) return failureOf(*email_);
  return {};
}

void MailSource::clear() {
  mime_.emplace();
  email_.emplace();
  dateField_.reset();
  receivedField_.reset();
}

}  // namespace keldane::mime
