#include "ingest/reading/source_reader.h"

#include <algorithm>
#include <utility>

#include "archive/content_digest.h"
#include "base/text.h"
#include "ingest/reading/attachment_collector.h"
#include "ingest/reading/mail_marks.h"
#include "ingest/reading/message_date.h"
#include "ingest/reading/strip_plist.h"

namespace keldane {
namespace {

/// Of a source longer than this nothing is kept beyond its use.
constexpr std::size_t kLargeBytes = 1U << 20U;
constexpr std::string_view kOversized = "over 200,000,000 characters";
constexpr const char* kLabels = "X-Gmail-Labels";
constexpr std::string_view kNotAMessage = "no sender, recipients or subject";

/// The header block; none when the text begins with it empty.
std::string_view headingsOf(std::string_view text) {
  const std::size_t end = text.find("\n\n");
  return end == std::string_view::npos || end <= 1 ? std::string_view() : text.substr(0, end);
}

bool isLonger(std::string_view text, std::size_t units) {
  // No character takes more units than bytes.
  return text.size() > units && utf16Length(text) > units;
}

/// The keywords of the file are kept apart, for when those of the rules are taken off again.
void addLabels(std::string_view labels, MessageTags& tags) {
  std::string words = keywordsOfLabels(labels);
  repairUtf8(words);
  if (words.empty()) return;
  for (std::string* keywords : {&tags.tagKeywords, &tags.tagKeywordsFromFile}) {
    if (!keywords->empty()) *keywords += " ";
    *keywords += words;
  }
}

/// Where the text behind the first blank line begins; npos when there is none. The engine's texts
/// have CR LF line ends.
std::size_t behindBlankLine(std::string_view body) {
  for (std::size_t end = body.find('\n'); end != std::string_view::npos;
       end = body.find('\n', end + 1)) {
    const std::string_view rest = body.substr(end + 1);
    if (rest.starts_with('\n')) return end + 2;
    if (rest.starts_with("\r\n")) return end + 3;
  }
  return std::string_view::npos;
}

}  // namespace

std::optional<SourceReader::Refusal> SourceReader::fill(const std::string& mailbox,
                                                        bool hasEnvelopeLine) {
  CurrentMessage& message = context_.message;
  hasEnvelopeLine_ = hasEnvelopeLine;
  const auto dropped = [](std::string_view reason) {
    return Refusal{LedgerOutcome::dropped, std::string(reason)};
  };
  if (isLonger(message.msgOriginal, context_.mostUnits)) {
    if (context_.tooLarge) context_.tooLarge();
    return dropped(kOversized);
  }
  ContentDigest digest;
  bool hasParts = false;
  const Result<void> loaded = loadEmail([&digest, &hasParts](const mime::PartView& part) {
    hasParts = true;
    digest.addPart(part);
  });
  if (!loaded) return Refusal{LedgerOutcome::failed, loaded.error()};
  message.msgMailbox = mailbox;
  fillAddresses();
  if (hasParts) message.contentSha256 = digest.finish(message.msgSubject);
  if (const auto reason = fillDate()) return dropped(*reason);
  if (context_.dated) context_.dated();
  if (!fillBodies()) return dropped(kNotAMessage);
  if (context_.plan.settings.attachState != 0) {
    const AttachmentLimits limits{context_.plan.settings.largeAttachState != 0,
                                  context_.plan.attachSizeBytes};
    const Result<void> collected =
        collectAttachments(source_.email(), limits, context_.partial, message);
    if (!collected) return Refusal{LedgerOutcome::failed, collected.error()};
  }
  fillHeadings();
  return std::nullopt;
}

/// Strips the source and gives it to the engine.
Result<void> SourceReader::loadEmail(
    const std::function<void(const mime::PartView& part)>& visitPart) {
  CurrentMessage& message = context_.message;
  std::string scratch;
  const std::string_view text = strippedMessage(message.msgOriginal, scratch, message.tags);
  mime::MailSource::Options options;
  options.encoding = message.origin.encoding;
  options.declaredCharsets = context_.plan.declaredCharsets;
  options.visitPart = visitPart;
  if (context_.plan.gmailLabels) {
    options.visitTree = [&message](mime::TnoMime& tree, std::string_view) {
      addLabels(tree.GetHeaderField(kLabels).value_or(""), message.tags);
    };
  }
  Result<void> loaded = source_.load(text, options);
  headings_ = {};
  if (!loaded) return loaded;
  std::string_view headings = headingsOf(text);
  if (hasEnvelopeLine_ && headings.starts_with("From ")) {
    headings.remove_prefix(std::min(headings.find('\n'), headings.size() - 1) + 1);
  }
  // A view of the source waits: a huge header is then not copied while the engine holds it too.
  if (scratch.empty()) {
    headings_ = headings;
  } else {
    message.msgHeadings = headings;
  }
  return loaded;
}

void SourceReader::fillAddresses() {
  CurrentMessage& message = context_.message;
  message.msgFrom = source_.email().From().value_or("");
  replaceAll(message.msgFrom, "\r\n", " ");
  message.msgTo = source_.email().GetRecipients().value_or("");
  message.msgSubject = source_.email().Subject().value_or("");
  // Bytes that are no UTF-8 would come back from the database as something else, or end the text
  // there: the message would be no duplicate of itself.
  for (std::string* text : {&message.msgFrom, &message.msgTo, &message.msgSubject}) {
    repairUtf8(*text);
  }
}

std::optional<std::string_view> SourceReader::fillDate() {
  DateSources sources;
  if (const auto date = source_.email().GetDt()) sources.sent = date->GetAsDateTime(1);
  sources.hasSender = !context_.message.msgFrom.empty();
  sources.header = [this](std::string_view name) {
    return name == "Date" ? source_.dateField() : source_.receivedField();
  };
  return chooseMessageDate(sources, context_.plan.range, context_.environment.now(),
                           context_.message.msgDate);
}

/// False when nothing speaks for a message.
bool SourceReader::fillBodies() {
  CurrentMessage& message = context_.message;
  mime::TnoEmail& email = source_.email();
  std::optional<std::string> plain;
  if (email.HasPlainTextBody()) {
    plain = isLarge() ? email.TakePlainTextBody() : email.GetPlainTextBody();
  }
  if (plain) message.msgBody = std::move(*plain);
  repairUtf8(message.msgBody);
  const std::size_t secondParagraph = behindBlankLine(message.msgBody);
  if (message.msgFrom.empty() && message.msgTo.empty() && message.msgSubject.empty() &&
      secondParagraph == std::string::npos) {
    return false;
  }
  // The first paragraph of a plain body is no part of what is searched and compared: with it, no
  // message would be a duplicate of what earlier versions have stored.
  if (secondParagraph != std::string::npos) message.msgBody.erase(0, secondParagraph);
  std::optional<std::string> html;
  if (email.HasHtmlBody()) html = isLarge() ? email.TakeHtmlBody() : email.GetHtmlBody();
  message.hasHtmlPart = html && !html->empty();
  if (!message.hasHtmlPart) return true;
  message.bodyIsHtmlPart = !plain && isValidUtf8(*html);
  if (!plain && !message.bodyIsHtmlPart) {
    message.msgBody = *html;
    repairUtf8(message.msgBody);
  }
  message.msgParts.push_back({"text/html", "htmlversion.html", std::move(*html)});
  return true;
}

/// Last of all, when the engine's tree of a huge message, which is no longer needed, has made room.
void SourceReader::fillHeadings() {
  releaseTree();
  if (!headings_.empty()) context_.message.msgHeadings = headings_;
}

bool SourceReader::isLarge() const { return context_.message.msgOriginal.size() > kLargeBytes; }

void SourceReader::releaseTree() {
  if (isLarge()) source_.clear();
}

/// What a huge message has filled would otherwise lie beside the next one while that is read.
void SourceReader::releaseLarge() {
  if (!isLarge()) return;
  context_.message.clearForNextMessage();
  context_.message.origin = {};
  source_.clear();  // a dropped one still has its tree
}

}  // namespace keldane
