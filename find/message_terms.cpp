#include "find/message_terms.h"

#include <algorithm>
#include <utility>

#include "base/sha256.h"
#include "base/text.h"
#include "find/html_text.h"
#include "find/japanese_text.h"

namespace keldane {
namespace {

/// Of one text, so that a log of a gigabyte does not fill the memory. Nobody looks for what comes
/// behind it.
constexpr std::size_t kMaxTextBytes = std::size_t{16} << 20U;

void add(MessageTexts& out, Field field, std::string_view text, std::string_view partName = {}) {
  if (trimWhitespace(text).empty()) return;
  out.texts.push_back({field, std::string(text.substr(0, kMaxTextBytes)), std::string(partName)});
}

/// Charsets that stand there when nobody has thought of one.
bool isUnlabelled(std::string_view charset) {
  return charset.empty() || compareNoCase(charset, "us-ascii") == 0 ||
         compareNoCase(charset, "iso-8859-1") == 0;
}

bool isPage(std::string_view type) { return type == "text/html" || type.ends_with("xhtml+xml"); }

std::string_view endingOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
}

void addAddresses(mime::TnoEmail& email, const ArchivedMessage& message, MessageTexts& out) {
  add(out, Field::from, email.From().value_or(message.from));
  add(out, Field::to, email.GetRecipients().value_or(message.to));
  for (const char* name : {"Sender", "Reply-To"}) {
    add(out, Field::from, email.GetHeaderField(name).value_or(""));
  }
  add(out, Field::to, email.GetHeaderField("Bcc").value_or(""));
}

void addRows(const ArchivedMessage& message, MessageTexts& out) {
  add(out, Field::subject, message.subject);
  add(out, Field::from, message.from);
  add(out, Field::to, message.to);
  add(out, Field::body, message.body);
  add(out, Field::file, message.attachNames);
  add(out, Field::attachment, message.attachText);
  out.hasAttachment = !trimWhitespace(message.attachNames).empty();
  out.sizeBytes = message.body.size();
}

}  // namespace

std::string tagText(const TagRow& tags) {
  std::string text = tags.category + "\n" + tags.keywords + "\n" + tags.notes;
  if (tags.priority != 0) text += "\n" + std::string(priorityTitle(tags.priority));
  return text;
}

std::string tagDigest(const TagRow& tags) {
  const std::string text = tagText(tags);
  if (trimWhitespace(text).empty()) return {};
  constexpr std::size_t kDigestBytes = 8;
  return sha256(text).substr(0, kDigestBytes);
}

std::string mailboxDigest(const std::string& mailbox) {
  constexpr std::size_t kDigestBytes = 5;
  return mailbox.empty() ? std::string() : sha256(mailbox).substr(0, kDigestBytes);
}

MessageTexts MessageTextReader::read(ArchivedMessage message) {
  MessageTexts out;
  if (message.source) readSource(message, out);
  if (!message.source) addRows(message, out);
  add(out, Field::mailbox, message.mailbox);
  add(out, Field::tag, tagText(message.tags));
  return out;
}

/// A source that the engine refuses leaves the message without one: its rows stand.
void MessageTextReader::readSource(ArchivedMessage& message, MessageTexts& out) {
  std::string& source = *message.source;
  out.sizeBytes = source.size();
  mime::MailSource::Options options;
  options.encoding = message.encoding;
  if (!isValidUtf8(source)) {
    source = latin1ToUtf8(source);
    options.encoding = mime::SourceEncoding::latin1;
  }
  options.declaredCharsets = options_.declaredCharsets;
  options.visitPart = [&](const mime::PartView& part) { addPart(part, out); };
  options.visitContainer = [&](const mime::PartContainer& container) {
    if (!container.source.empty()) addAttachedMessage(container.source, out);
  };
  if (options_.stripPlist) options_.stripPlist(source);
  if (!source_.load(source, options)) {
    message.source.reset();
    out = {};
    return;
  }
  add(out, Field::subject, source_.email().Subject().value_or(message.subject));
  addAddresses(source_.email(), message, out);
}

/// Subject, names and addresses of a message within this one; its text comes part by part.
void MessageTextReader::addAttachedMessage(std::string_view source, MessageTexts& out) {
  const std::size_t end = std::min(source.find("\n\n"), source.find("\r\n\r\n"));
  std::string head = std::string(source.substr(0, end)) + "\n\n";
  mime::MailSource::Options options;
  if (!isValidUtf8(head)) {
    head = latin1ToUtf8(head);
    options.encoding = mime::SourceEncoding::latin1;
  }
  options.declaredCharsets = options_.declaredCharsets;
  if (!attached_.load(head, options)) return;
  mime::TnoEmail& email = attached_.email();
  const std::string subject = email.Subject().value_or("");
  add(out, Field::attachment,
      subject + "\n" + email.From().value_or("") + "\n" + email.GetRecipients().value_or(""),
      subject);
}

/// A text with a name is a file that somebody has attached, whatever its disposition says.
void MessageTextReader::addPart(const mime::PartView& part, MessageTexts& out) {
  const bool isText = !part.text.empty();
  std::string japanese;
  if (isText && isUnlabelled(part.charset)) japanese = japaneseText(part.text);
  const std::string_view text = japanese.empty() ? part.text : std::string_view(japanese);
  const bool isAttached = !part.name.empty() || (!isText && !part.body.empty());
  if (isAttached) {
    out.hasAttachment = true;
    add(out, Field::file, part.name);
    std::string type(part.contentType);
    add(out, Field::type, type.append(" ").append(endingOf(part.name)));
  }
  const Field field = part.name.empty() ? Field::body : Field::attachment;
  if (isText && documentKind(part.contentType, part.name, part.body) == DocumentKind::none) {
    if (isPage(part.contentType)) {
      add(out, field, markupText(text), part.name);
    } else {
      add(out, field, text, part.name);
    }
  } else if (isAttached) {
    addDocument(part, out);
  }
}

void MessageTextReader::addDocument(const mime::PartView& part, MessageTexts& out) {
  if (!options_.documents) return;
  const auto extracted = options_.documents->extract(part.contentType, part.name, part.body);
  if (!extracted) {
    out.failures.push_back({std::string(part.name), extracted.error()});
    return;
  }
  if (!*extracted) return;
  add(out, Field::attachment, (*extracted)->text, part.name);
  if (!(*extracted)->remark.empty()) {
    out.failures.push_back({std::string(part.name), (*extracted)->remark});
  }
}

}  // namespace keldane
