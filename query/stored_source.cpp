#include "query/stored_source.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "query/message_text.h"

namespace keldane {
namespace {

constexpr std::size_t kLeastSourceUnits = 3;

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

bool StoredSources::query(const std::string& sql) {
  return callbacks_.query ? callbacks_.query(sql) : session_.query(sql);
}

Result<std::string> StoredSources::fetch(std::uint32_t id) {
  if (!query(fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id))) {
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

void StoredSources::read(std::uint32_t id, std::string& source, mime::MailSource& message) {
  mime::MailSource::Options options;
  if (isValidUtf8(source)) {
    options.encoding = encodingOf(id, source);
  } else {
    source = latin1ToUtf8(source);
    options.encoding = mime::SourceEncoding::latin1;
  }
  if (callbacks_.declaredCharsets) options.declaredCharsets = callbacks_.declaredCharsets();
  if (callbacks_.stripPlist) callbacks_.stripPlist(source);
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
  if (!query(messageRowSql(id))) return Failure{session_.error()};
  const auto rows = session_.storeResult();
  if (!rows) return Failure{session_.error()};
  if (!rows->next()) return Failure{fmt::format("there is no message {}", id)};
  return formatMessageText(*rows, listDate, stripQuoted, *whole);
}

}  // namespace keldane
