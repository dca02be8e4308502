#include "ingest/storing/duplicate_check.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/sha256.h"
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

// What a message is remembered by in memory.

std::string digestOf(const DuplicateKey& key, std::string_view kind, std::string_view rest) {
  Sha256 digest;
  for (const std::string_view text : {key.date, key.to, key.from, kind, rest}) {
    digest.add(std::to_string(text.size()));
    digest.add(" ");
    digest.add(text);
  }
  return digest.finish();
}

std::string digestOfAddresses(const DuplicateKey& key) { return digestOf(key, "addresses", {}); }

std::string digestOfBody(const DuplicateKey& key) {
  const std::optional<std::string_view> beginning = comparedBeginning(key.body);
  return beginning ? digestOf(key, "body", *beginning) : digestOfAddresses(key);
}

std::string digestOfContent(const DuplicateKey& key, std::string_view contentSha256) {
  return digestOf(key, "content", contentSha256);
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

const std::string* DryStore::pathOf(const std::string& digest) const {
  const auto found = seen_.find(digest);
  return found == seen_.end() ? nullptr : &paths_[found->second];
}

DryStore::Earlier DryStore::find(const DuplicateKey& key, std::string_view contentSha256) const {
  if (!contentSha256.empty()) {
    const std::string* same = pathOf(digestOfContent(key, contentSha256));
    if (same != nullptr) return {.isSame = true, .path = *same};
  }
  const std::string* like = pathOf(digestOfBody(key));
  if (like == nullptr) return {};
  return {.isSame = contentSha256.empty(), .differs = !contentSha256.empty(), .path = *like};
}

void DryStore::add(const DuplicateKey& key, std::string_view contentSha256,
                   const std::string& path) {
  if (paths_.empty() || paths_.back() != path) paths_.push_back(path);
  const std::size_t index = paths_.size() - 1;
  if (!contentSha256.empty()) seen_.emplace(digestOfContent(key, contentSha256), index);
  seen_.emplace(digestOfAddresses(key), index);
  seen_.emplace(digestOfBody(key), index);
}

}  // namespace keldane
