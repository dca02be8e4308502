#include "ingest/storing/duplicate_check.h"

#include <cstdlib>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace keldane {
namespace {

/// Built in: a duplicate has the same date. The other form is here for the day when it is wanted.
constexpr bool kIgnoreDate = false;

/// So much of a body is compared, in characters.
constexpr std::size_t kComparedLength = 400;
/// A body of so few characters tells nothing and is not compared.
constexpr std::size_t kTellsNothing = 2;

std::string conditionOf(const DuplicateKey& key, const EmailColumns& columns) {
  StatementText condition;
  condition.start("");
  if (!kIgnoreDate) condition.add("date_fld=").addQuoted(key.date).add(" AND ");
  condition.add("to_fld=").add(columns.to.conversionStart);
  condition.addQuoted(columns.to.asHeld(key.to)).add(columns.to.conversionEnd);
  condition.add(" AND from_fld=").add(columns.from.conversionStart);
  condition.addQuoted(columns.from.asHeld(key.from)).add(columns.from.conversionEnd);
  return condition.text();
}

std::uint32_t firstId(ServerSession& session) {
  return static_cast<std::uint32_t>(std::strtoul(fetchFirstCell(session).c_str(), nullptr, 10));
}

}  // namespace

std::optional<std::string_view> comparedBeginning(std::string_view body) {
  const std::string_view beginning = utf16Prefix(upToNul(body), kComparedLength);
  if (utf16Length(beginning) <= kTellsNothing) return std::nullopt;
  if (beginning.find_first_of("\"\\") != std::string_view::npos) return std::nullopt;
  return beginning;
}

DuplicateAnswer findDuplicate(ServerSession& session, const DuplicateKey& key,
                              const EmailColumns& columns, StatementText& sql,
                              StoreErrors& errors) {
  constexpr std::string_view kQuestion = "SELECT id FROM email WHERE ";
  DuplicateAnswer answer;
  std::string condition = conditionOf(key, columns);
  sql.start(kQuestion).add(condition);
  if (!session.query(sql.text())) {
    errors.note("SQL error: ");
    return answer;
  }
  answer.id = firstId(session);
  if (answer.id == 0) return answer;
  answer.condition = std::move(condition);

  const std::optional<std::string_view> beginning = comparedBeginning(key.body);
  if (!beginning) return answer;

  sql.start(kQuestion).add(answer.condition);
  sql.add(" AND body_fld LIKE ").add(columns.body.conversionStart).add("\"");
  sql.add(columns.body.asHeld(*beginning)).add("%\"").add(columns.body.conversionEnd);
  if (session.query(sql.text())) {
    answer.id = firstId(session);
  } else {
    errors.noteInSystemLog("SQL error: ");
    answer.id = 0;
  }
  return answer;
}

}  // namespace keldane
