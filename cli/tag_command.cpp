#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_set>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/message_id.h"
#include "cli/priority_option.h"
#include "cli/program.h"
#include "cli/tag_text.h"
#include "query/message_tags.h"

namespace keldane {
namespace {

struct TagOptions {
  std::vector<std::string> given;
  std::vector<std::uint32_t> ids;
  std::optional<std::string> category;
  std::optional<std::string> keywords;
  std::optional<std::string> notes;
  std::optional<int> priority;
  std::vector<std::string> addedKeywords;
  std::vector<std::string> removedKeywords;
  bool replace = false;
  std::string database;
  std::string connection;
};

/// The tags of a message before a command and after it.
struct TagChange {
  TagRow before;
  TagRow after;
};

/// Whether the archive has all of these messages; else a message is printed.
bool hasMessages(const std::vector<std::uint32_t>& ids, ServerSession& session, Program& program) {
  const bool sent =
      session.query(fmt::format("SELECT id FROM email WHERE id IN ({})", fmt::join(ids, ",")));
  const auto rows = sent ? session.storeResult() : nullptr;
  if (!rows) {
    (void)program.failSql(session.error());
    return false;
  }
  std::unordered_set<std::string> found;
  while (rows->next()) found.insert(std::string(rows->cell(0).value_or("")));
  for (const std::uint32_t id : ids) {
    if (found.count(fmt::format("{}", id)) != 0) continue;
    (void)program.fail(fmt::format("there is no message {}; nothing is changed", id));
    return false;
  }
  return true;
}

bool isSame(const std::string& a, const std::string& b) { return compareNoCase(a, b) == 0; }

bool holds(const std::vector<std::string>& words, const std::string& word) {
  return std::any_of(words.begin(), words.end(),
                     [&word](const std::string& each) { return isSame(each, word); });
}

std::string keywordsAfter(const TagOptions& options, const std::string& before) {
  std::vector<std::string> words;
  const auto add = [&words](const std::string& text) {
    for (std::string& word : wordsOf(text)) {
      if (!holds(words, word)) words.push_back(std::move(word));
    }
  };
  add(options.keywords.value_or(before));
  for (const std::string& text : options.addedKeywords) add(text);
  for (const std::string& text : options.removedKeywords) {
    for (const std::string& gone : wordsOf(text)) {
      words.erase(std::remove_if(words.begin(), words.end(),
                                 [&gone](const std::string& word) { return isSame(word, gone); }),
                  words.end());
    }
  }
  return join(words, " ");
}

/// A category of this name is none.
std::string categoryOf(const std::string& text) {
  return isSame(text, kPriorityTitles[0].data()) ? std::string() : text;
}

TagRow tagsAfter(const TagOptions& options, const TagRow& before) {
  TagRow tags = options.replace ? TagRow{} : before;
  tags.id = before.id;
  if (options.category) tags.category = categoryOf(*options.category);
  if (options.notes) tags.notes = *options.notes;
  if (options.priority) tags.priority = *options.priority;
  tags.keywords = keywordsAfter(options, tags.keywords);
  return tags;
}

/// What has to be written; nullopt, and a message, when not all of it can be.
std::optional<std::vector<TagChange>> changesFor(const TagOptions& options, ServerSession& session,
                                                 Program& program) {
  if (!hasMessages(options.ids, session, program)) return std::nullopt;
  const auto found = readTags(session, options.ids);
  if (!found) {
    (void)program.failSql(found.error());
    return std::nullopt;
  }
  std::vector<TagChange> changes;
  std::unordered_set<std::uint32_t> seen;
  for (const std::uint32_t id : options.ids) {
    if (!seen.insert(id).second) continue;
    TagRow before;
    if (const auto at = found->find(id); at != found->end()) before = at->second;
    before.id = id;
    const Result<TagRow> after = storableTags(tagsAfter(options, before));
    if (!after) {
      (void)program.fail(fmt::format("message {}: {}; nothing is changed", id, after.error()));
      return std::nullopt;
    }
    changes.push_back({before, *after});
  }
  return changes;
}

/// Writes them one after the other; of a row that is refused the old tags come back, as far as the
/// server still takes anything.
bool writeChanges(const std::vector<TagChange>& changes, ServerSession& session, Program& program) {
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const Result<void> written = writeTags(session, changes[i].after);
    if (written) continue;
    static_cast<void>(writeTags(session, changes[i].before));
    (void)program.failSql(written.error());
    (void)program.fail(fmt::format("{} of {} tagged; message {} and those behind it are not", i,
                                   changes.size(), changes[i].after.id));
    return false;
  }
  return true;
}

/// Answers the changes that were made; nullopt when they were not, or not all.
std::optional<std::vector<TagChange>> changeTags(const TagOptions& options, Program& program) {
  program.exitStatus = kExitFailed;
  KeldaneController* controller = program.connected(options.connection, options.database);
  if (controller == nullptr) return std::nullopt;
  auto changes = changesFor(options, controller->session(), program);
  if (!changes || !writeChanges(*changes, controller->session(), program)) return std::nullopt;
  program.exitStatus = kExitDone;
  return changes;
}

void tagMessages(const TagOptions& options, Program& program) {
  const auto changes = changeTags(options, program);
  if (changes) fmt::print("{} tagged.\n", countText(changes->size(), "message"));
}

void untagMessages(const TagOptions& options, Program& program) {
  const auto changes = changeTags(options, program);
  if (!changes) return;
  const auto tagged = std::count_if(changes->begin(), changes->end(),
                                    [](const TagChange& change) { return hasTags(change.before); });
  fmt::print("Tags removed from {}.\n", countText(tagged, "message"));
}

std::vector<CommandOption> placeOptions(TagOptions& options) {
  return {{"--database", &options.database, "Use this database", "NAME"},
          {"--connection", &options.connection, "Use this saved connection", "NAME"}};
}

CommandOption idArgument(TagOptions& options) {
  const ValueReader take = [&options](const std::string& text) {
    std::uint32_t id = 0;
    std::string wrong = messageIdInto(id)(text);
    if (wrong.empty()) options.ids.push_back(id);
    return wrong;
  };
  return {.names = "ID",
          .target = &options.given,
          .help = "Id of a message, as lists show it",
          .check = take,
          .required = true};
}

}  // namespace

Command tagCommand(Program& program) {
  auto options = std::make_shared<TagOptions>();
  Command command = {
      .name = "tag",
      .help = "Give tags to messages; what is not named stays. An empty text takes a tag away",
      .options = {idArgument(*options),
                  {"--category", &options->category, "Category"},
                  {.names = "--keywords",
                   .target = &options->keywords,
                   .help = "All keywords, between blanks",
                   .excludes = {"--add", "--remove"}},
                  {"--add", &options->addedKeywords, "Add this keyword; may be repeated",
                   "KEYWORD"},
                  {"--remove", &options->removedKeywords, "Take this keyword away; may be repeated",
                   "KEYWORD"},
                  {"--notes", &options->notes, "Notes"},
                  {"--priority", priorityInto(options->priority), kPriorityWords, kPriorityNames},
                  {"--replace", &options->replace, "Take away the tags that are not named"}},
      .oneOf = {"--category", "--keywords", "--add", "--remove", "--notes", "--priority"},
      .run = [options, &program] { tagMessages(*options, program); }};
  const std::vector<CommandOption> place = placeOptions(*options);
  command.options.insert(command.options.end(), place.begin(), place.end());
  return command;
}

Command untagCommand(Program& program) {
  auto options = std::make_shared<TagOptions>();
  options->replace = true;
  const std::vector<CommandOption> place = placeOptions(*options);
  return {.name = "untag",
          .help = "Take all tags from messages",
          .options = {idArgument(*options), place[0], place[1]},
          .run = [options, &program] { untagMessages(*options, program); }};
}

}  // namespace keldane
