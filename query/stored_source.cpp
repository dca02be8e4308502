#include "query/stored_source.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "base/shown_text.h"
#include "base/text.h"
#include "query/message_text.h"

namespace keldane {
namespace {

constexpr std::size_t kLeastSourceUnits = 3;
constexpr std::size_t kLeastHtmlUnits = 300;   ///< a shorter HTML is not the one in the attachment
constexpr std::size_t kUnitsBeforeHtml = 200;  ///< within which the fields of a message text end
constexpr std::string_view kAttachmentsWord = "ATTACHMENTS:";

void deleteOnce(std::string& text, std::string_view word) {
  const std::size_t at = text.find(word);
  if (at != std::string::npos) text.erase(at, word.size());
}

/// The last so many UTF-16 units of a text.
std::string_view lastUnits(std::string_view text, std::size_t units) {
  std::size_t at = text.size();
  while (at > 0 && units > 0) {
    --at;
    const auto byte = static_cast<unsigned char>(text[at]);
    if ((byte & 0xC0U) == 0x80) continue;  // inside a character
    units -= byte >= 0xF0 && units > 1 ? 2 : 1;
  }
  return text.substr(at);
}

/// The HTML document that is stored as the body of a message, as it would be shown as text.
std::optional<std::string> storedHtml(std::string_view messageText) {
  const std::optional<std::size_t> begin = findNoCase(messageText, "<html");
  if (!begin) return std::nullopt;
  const std::string_view before = lastUnits(messageText.substr(0, *begin), kUnitsBeforeHtml);
  if (before.find("MAILBOX:") == std::string_view::npos) return std::nullopt;
  std::string stored = shownText(messageText);
  if (!findNoCase(stored, "</html>")) return std::nullopt;
  deleteOnce(stored, kAttachmentsWord);
  const std::size_t at = findNoCase(stored, "<html").value_or(0);
  // One character before it stays: the line end above the document.
  stored.erase(0, at - std::min<std::size_t>(at, 1));
  return stored;
}

/// Whether the text holds something beyond ASCII, and nothing beyond Latin 1: only then it can have
/// been read as Latin 1.
bool mayBeLatin1(std::string_view text) {
  bool beyondAscii = false;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0xC3) return false;
    beyondAscii = beyondAscii || byte >= 0x80;
  }
  return beyondAscii;
}

}  // namespace

bool isSource(std::string_view source) {
  // No character takes more than four bytes.
  return source.size() >= 4 * kLeastSourceUnits || utf16Length(source) >= kLeastSourceUnits;
}

std::optional<std::string> wholePlainText(mime::TnoEmail& email) {
  if (!email.HasPlainTextBody()) return std::nullopt;
  std::optional<std::string> text = email.GetPlainTextBody();
  if (!text || trimWhitespace(*text).empty()) return std::nullopt;
  // A part that calls itself ASCII and is not may come out of the engine as the bytes it has.
  if (!isValidUtf8(*text)) text = latin1ToUtf8(*text);
  normalizeLineEnds(*text);
  return text;
}

Result<std::string> StoredSources::fetch(std::uint32_t id) {
  if (!session_.query(fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id))) {
    return Failure{session_.error()};
  }
  return fetchFirstCell(session_);
}

/// An archive that nothing has been added to of late has no table of fingerprints.
mime::SourceEncoding StoredSources::encodingOf(std::uint32_t id, std::string_view text) {
  if (!mayBeLatin1(text)) return mime::SourceEncoding::utf8;
  const std::string sql = fmt::format("SELECT encoding FROM keldane_fingerprints WHERE id={}", id);
  const bool isLatin1 = session_.query(sql) && leadingInt(fetchFirstCell(session_)) ==
                                                   static_cast<int>(mime::SourceEncoding::latin1);
  return isLatin1 ? mime::SourceEncoding::latin1 : mime::SourceEncoding::utf8;
}

void StoredSources::read(std::uint32_t id, std::string& source, mime::MailSource& message,
                         mime::MailSource::Options options) {
  if (isValidUtf8(source)) {
    options.encoding = encodingOf(id, source);
  } else {
    source = latin1ToUtf8(source);
    options.encoding = mime::SourceEncoding::latin1;
  }
  options.declaredCharsets = reading_.declaredCharsets;
  if (reading_.stripPlist) reading_.stripPlist(source);
  static_cast<void>(message.load(source, options));
}

Result<std::optional<std::string>> StoredSources::wholeText(std::uint32_t id) {
  Result<std::string> source = fetch(id);
  if (!source) return Failure{source.error()};
  if (!isSource(*source)) return std::optional<std::string>();
  mime::MailSource message;
  read(id, *source, message);
  return wholePlainText(message.email());
}

Result<std::string> StoredSources::textForReader(std::uint32_t id, std::string_view listDate,
                                                 bool stripQuoted) {
  const Result<std::optional<std::string>> whole = wholeText(id);
  if (!whole) return Failure{whole.error()};
  const auto text = formatRow(id, listDate, stripQuoted, *whole);
  if (!text) return Failure{text.error()};
  if (!*text) return Failure{fmt::format("there is no message {}", id)};
  return **text;
}

/// nullopt: there is no such message. Fails with the server's words.
Result<std::optional<std::string>> StoredSources::formatRow(
    std::uint32_t id, std::string_view listDate, bool stripQuoted,
    const std::optional<std::string>& wholeBody) {
  const bool sent = session_.query(messageRowSql(id));
  const auto rows = sent ? session_.storeResult() : nullptr;
  if (!rows) return Failure{session_.error()};
  if (!rows->next()) return std::optional<std::string>();
  return std::optional(formatMessageText(*rows, listDate, stripQuoted, wholeBody));
}

std::optional<std::string> StoredSources::htmlOf(mime::MailSource& message) {
  std::optional<std::string> html = message.email().GetHtmlBody();
  if (html && html->empty()) html.reset();
  // A part that calls itself ASCII and is not may come out of the engine as the bytes it has.
  if (html && !isValidUtf8(*html)) html = latin1ToUtf8(*html);
  return html;
}

Result<std::vector<InlineImage>> StoredSources::inlineImages(std::uint32_t id) {
  Result<std::string> source = fetch(id);
  if (!source) return Failure{source.error()};
  std::vector<InlineImage> images;
  if (!isSource(*source)) return images;
  mime::MailSource::Options visitors;
  visitors.visitPart = [&images](const mime::PartView& part) {
    if (part.contentId.empty() || !part.contentType.starts_with("image/")) return;
    std::string_view contentId = trimWhitespace(part.contentId);
    if (contentId.starts_with('<')) contentId.remove_prefix(1);
    if (contentId.ends_with('>')) contentId.remove_suffix(1);
    images.push_back(
        {std::string(contentId), std::string(part.contentType), std::string(part.body)});
  };
  mime::MailSource message;
  read(id, *source, message, std::move(visitors));
  return images;
}

MessageContent StoredSources::readMessage(std::uint32_t id, std::string source,
                                          const HeaderDate& date) {
  const bool isLongEnough = isSource(source);
  mime::MailSource message;
  read(id, source, message);
  const std::optional<std::string> html = htmlOf(message);
  const std::optional<std::string> whole =
      isLongEnough ? wholePlainText(message.email()) : std::nullopt;

  MessageContent content;
  if (isLongEnough) {
    content.header = readHeaderBlock(message.email(), date);
    content.sentDate = message.email().GetHeaderField("Date").value_or("");
  }
  if (html && isLongEnough) {
    content.html = headerBlockHtml(content.header);
    content.headerBlockBytes = content.html->size();
    *content.html += *html;
  } else {
    const std::size_t end = source.find("\n\n");
    content.sourceText = end == std::string::npos ? source : source.substr(end + 2);
    deleteOnce(content.sourceText, kAttachmentsWord);
    if (reading_.stripPlist) reading_.stripPlist(content.sourceText);
  }
  Result<std::optional<std::string>> text = formatRow(id, date.listDate, false, whole);
  if (text) {
    content.messageText = std::move(*text);
  } else {
    content.error = fmt::format("{}, {}", text.error(), messageRowSql(id));
  }
  if (content.messageText && !content.html) {
    if (std::optional<std::string> stored = storedHtml(*content.messageText)) {
      content.html = html ? html : std::move(stored);
    }
  }
  return content;
}

std::optional<std::string> StoredSources::readHtmlVersion(std::uint32_t id, std::string source,
                                                          const HeaderDate& date) {
  mime::MailSource message;
  read(id, source, message);
  const std::optional<std::string> html = htmlOf(message);
  if (!html || utf16Length(*html) < kLeastHtmlUnits) return std::nullopt;
  return headerBlockHtml(readHeaderBlock(message.email(), date)) + *html;
}

}  // namespace keldane
