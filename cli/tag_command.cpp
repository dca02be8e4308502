#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_set>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/priority_option.h"
#include "cli/program.h"
#include "cli/tag_text.h"
#include "query/message_tags.h"

namespace keldane {
namespace {

struct TagOptions {
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

std::string checkId(const std::string& text) {
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  const unsigned long long id = digits ? std::strtoull(text.c_str(), nullptr, 10) : 0;
  if (id != 0 && id <= std::numeric_limits<std::uint32_t>::max()) return {};
  return fmt::format("\"{}\" is not the id of a message", printable(text));
}

void addPlace(CLI::App& command, TagOptions& options) {
  command.add_option("--database", options.database, "Use this database");
  command.add_option("--connection", options.connection, "Use this saved connection");
}

void addIds(CLI::App& command, TagOptions& options) {
  command.add_option("ID", options.ids, "Id of a message, as lists show it")
      ->required()
      ->check(CLI::Validator(checkId, ""));
}

void addTags(CLI::App& command, TagOptions& options) {
  CLI::Option_group* tags = command.add_option_group("tags");
  tags->add_option("--category", options.category, "Category");
  CLI::Option* keywords =
      tags->add_option("--keywords", options.keywords, "All keywords, between blanks");
  for (const auto& [name, words, help] :
       {std::tuple("--add", &options.addedKeywords, "Add this keyword; may be repeated"),
        std::tuple("--remove", &options.removedKeywords,
                   "Take this keyword away; may be repeated")}) {
    tags->add_option(name, *words, help)
        ->option_text("KEYWORD")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->excludes(keywords);
  }
  tags->add_option("--notes", options.notes, "Notes");
  tags->add_option("--priority", options.priority, kPriorityWords)
      ->option_text("PRIORITY")
      ->transform(priorityNames());
  tags->require_option(1, 0);
}

}  // namespace

void addTagCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<TagOptions>();
  CLI::App* command = app.add_subcommand(
      "tag", "Give tags to messages; what is not named stays. An empty text takes a tag away");
  addIds(*command, *options);
  addTags(*command, *options);
  command->add_flag("--replace", options->replace, "Take away the tags that are not named");
  addPlace(*command, *options);
  command->callback([options, &program] { tagMessages(*options, program); });

  auto untagged = std::make_shared<TagOptions>();
  untagged->replace = true;
  CLI::App* untag = app.add_subcommand("untag", "Take all tags from messages");
  addIds(*untag, *untagged);
  addPlace(*untag, *untagged);
  untag->callback([untagged, &program] { untagMessages(*untagged, program); });
}

}  // namespace keldane
