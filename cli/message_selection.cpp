#include "cli/message_selection.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "cli/last_list.h"
#include "cli/message_id.h"
#include "cli/program.h"
#include "query/search_result.h"

namespace keldane {
namespace {

bool hasConditions(const SearchConditions& conditions) {
  const SearchWords& words = conditions.words;
  const std::string* const texts[] = {&words.entireMessage, &words.since,         &words.until,
                                      &words.dateShortcut,  &words.category,      &words.keywords,
                                      &words.notes,         &words.priority,      &conditions.sql,
                                      &conditions.saved,    &conditions.wordQuery};
  return !words.terms.empty() || !words.types.empty() || words.hasAttachment || words.withTags ||
         words.withoutTags || conditions.withinLastList ||
         std::any_of(std::begin(texts), std::end(texts),
                     [](const std::string* text) { return !text->empty(); });
}

Result<std::vector<std::uint32_t>> lastIds(Archiver& archiver) {
  const Result<std::vector<std::string>> last = LastList(archiver).read();
  if (!last) return Failure{last.error()};
  std::vector<std::uint32_t> ids;
  for (const std::string& id : *last) {
    ids.push_back(static_cast<std::uint32_t>(std::strtoul(id.c_str(), nullptr, 10)));
  }
  return ids;
}

Result<std::vector<std::uint32_t>> foundIds(const SearchConditions& conditions, Archiver& archiver,
                                            Program& program) {
  const Result<std::string> statement = statementOf(conditions, archiver, program);
  if (!statement) return Failure{statement.error()};
  SearchOptions how;
  how.onlyTagged = conditions.words.withTags;
  how.onlyUntagged = conditions.words.withoutTags;
  Progress unseen;
  const Result<SearchResult> found = runSearch(archiver.session(), *statement, how, unseen);
  if (!found) return Failure{"SQL error: " + found.error()};
  std::vector<std::uint32_t> ids;
  for (const Emailrow& row : found->rows) ids.push_back(row.emailID);
  return ids;
}

}  // namespace

void MessageSelection::addTo(Command& command, const Program& program) {
  CommandOption given = idArgument(ids);
  given.required = false;
  command.options.push_back(std::move(given));
  command.options.push_back(
      {"--last-list", &lastList, "The messages of the last list, search or browse"});
  conditions.addTo(command, program);
}

Result<void> MessageSelection::read(const Environment& environment, bool mustName) {
  // All that is asked for, and not the beginning of it.
  if (conditions.words.limit.empty()) conditions.words.limit = "none";
  if (Result<void> read = conditions.read(environment); !read) return read;
  const int ways = (ids.empty() ? 0 : 1) + (lastList ? 1 : 0) + (hasConditions(conditions) ? 1 : 0);
  if (ways > 1) return Failure{"name the messages by ids, by the last list, or by conditions"};
  if (ways == 0 && mustName) {
    return Failure{
        "name the messages: by ids, with --last-list, --saved NAME, or by conditions as `keldane "
        "search` takes them"};
  }
  return {};
}

std::optional<std::vector<std::uint32_t>> selectedIds(const MessageSelection& selection,
                                                      Archiver& archiver, Program& program) {
  if (!selection.ids.empty()) return messageIds(selection.ids, program);
  Result<std::vector<std::uint32_t>> found =
      selection.lastList ? lastIds(archiver) : foundIds(selection.conditions, archiver, program);
  if (found) return std::move(*found);
  program.exitStatus = program.fail(found.error());
  return std::nullopt;
}

std::string searchTextOf(const MessageSelection& selection, Archiver& archiver, Program& program) {
  if (!selection.ids.empty() || selection.lastList) return {};
  const auto statement = statementOf(selection.conditions, archiver, program);
  if (!statement) return {};
  const std::size_t where = std::min(statement->find("WHERE "), statement->find(" ORDER BY "));
  return where == std::string::npos ? std::string() : statement->substr(where);
}

MessageList listedMessages(Archiver& archiver, std::vector<std::uint32_t> ids) {
  MessageList list = listOfIds(archiver.session(), std::move(ids));
  list.row = [&archiver, plain = std::move(list.row)](std::size_t index) -> Result<ListedMessage> {
    Result<ListedMessage> row = plain(index);
    if (!row || row->date.empty()) return row;
    row->date = formatListDate(row->date, dateStyleOf(archiver.settings().user));
    const Result<std::string> tags = queryCell(
        archiver.session(), fmt::format("SELECT count(id) FROM tags WHERE tags.id={}", row->id));
    if (!tags) return Failure{tags.error()};
    if (*tags != "0") row->date += '*';
    return row;
  };
  return list;
}

}  // namespace keldane
