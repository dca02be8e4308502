#include "ingest/duplicate_test.h"

#include <cstdlib>
#include <string_view>

#include "base/text.h"

namespace keldane {
namespace {

/// Built in: a duplicate has the same date. The other form is here for the day when it is wanted.
constexpr bool kIgnoreDate = false;

/// So much of a body is compared, in characters.
constexpr std::size_t kComparedLength = 400;
/// A body of so few characters tells nothing and is not compared.
constexpr std::size_t kTellsNothing = 2;

/// Characters that the column of the sender holds. What is longer is stored cut, and asked for
/// whole it would be archived again by every run.
constexpr std::size_t kSenderLength = 255;

std::string_view asStoredSender(std::string_view from) {
  std::size_t characters = 0;
  for (std::size_t at = 0; at < from.size(); ++at) {
    const bool begins = (static_cast<unsigned char>(from[at]) & 0xC0U) != 0x80;
    if (begins && ++characters > kSenderLength) return from.substr(0, at);
  }
  return from;
}

void startQuestion(StatementText& sql, const DuplicateKey& key) {
  sql.start("SELECT id FROM email WHERE ");
  if (!kIgnoreDate) sql.add("date_fld=").addQuoted(key.date).add(" AND ");
  // A stored text ends at its first NUL character, and so must the one it is compared with.
  sql.add("to_fld=").addQuoted(upToNul(key.to));
  sql.add(" AND from_fld=").addQuoted(asStoredSender(upToNul(key.from)));
}

std::uint32_t firstId(ServerSession& session) {
  return static_cast<std::uint32_t>(std::strtoul(fetchFirstCell(session).c_str(), nullptr, 10));
}

}  // namespace

std::uint32_t findDuplicate(ServerSession& session, const DuplicateKey& key, StatementText& sql,
                            StoreErrors& errors) {
  startQuestion(sql, key);
  if (!session.query(sql.text())) {
    errors.note("SQL error: ");
    return 0;
  }
  const std::uint32_t id = firstId(session);
  if (id == 0) return 0;

  const std::string_view beginning = utf16Prefix(upToNul(key.body), kComparedLength);
  if (utf16Length(beginning) <= kTellsNothing) return id;
  if (beginning.find_first_of("\"\\") != std::string_view::npos) return id;

  startQuestion(sql, key);
  sql.add(" AND body_fld LIKE \"").add(beginning).add("%\"");
  if (!session.query(sql.text())) {
    errors.noteInSystemLog("SQL error: ");
    return 0;
  }
  return firstId(session);
}

}  // namespace keldane
