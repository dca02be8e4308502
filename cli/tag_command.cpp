#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/message_id.h"
#include "cli/priority_option.h"
#include "cli/program.h"
#include "query/message_tags.h"

namespace keldane {
namespace {

struct TagOptions {
  std::vector<std::string> given;
  TagChange change;
  std::string database;
  std::string connection;
};

/// Answers the messages that were changed; nullopt when not all were.
std::optional<std::vector<TaggedMessage>> changeTags(const TagOptions& options, Program& program) {
  const auto ids = messageIds(options.given, program);
  if (!ids) return std::nullopt;
  if (ids->empty()) return std::vector<TaggedMessage>();
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return std::nullopt;
  TagResult result = tagMessages(archiver->session(), *ids, options.change);
  if (!result.serverError.empty()) (void)program.failSql(result.serverError);
  if (!result.problem.empty()) (void)program.fail(result.problem);
  if (!result.complete()) return std::nullopt;
  program.exitStatus = kExitDone;
  return std::move(result.tagged);
}

void runTag(const TagOptions& options, Program& program) {
  const auto tagged = changeTags(options, program);
  if (tagged) fmt::print("{} tagged.\n", countText(tagged->size(), "message"));
}

void runUntag(const TagOptions& options, Program& program) {
  const auto untagged = changeTags(options, program);
  if (!untagged) return;
  const auto count =
      std::count_if(untagged->begin(), untagged->end(),
                    [](const TaggedMessage& message) { return hasTags(message.before); });
  fmt::print("Tags removed from {}.\n", countText(count, "message"));
}

std::vector<CommandOption> placeOptions(TagOptions& options) {
  return {{"--database", &options.database, "Use this database", "NAME"},
          {"--connection", &options.connection, "Use this saved connection", "NAME"}};
}

}  // namespace

Command tagCommand(Program& program) {
  auto options = std::make_shared<TagOptions>();
  Command command = {
      .name = "tag",
      .help = "Give tags to messages; what is not named stays. An empty text takes a tag away",
      .options = {idArgument(options->given),
                  {"--category", &options->change.category, "Category"},
                  {.names = "--keywords",
                   .target = &options->change.keywords,
                   .help = "All keywords, between blanks",
                   .excludes = {"--add", "--remove"}},
                  {"--add", &options->change.addedKeywords, "Add this keyword; may be repeated",
                   "KEYWORD"},
                  {"--remove", &options->change.removedKeywords,
                   "Take this keyword away; may be repeated", "KEYWORD"},
                  {"--notes", &options->change.notes, "Notes"},
                  {"--priority", priorityInto(options->change.priority), kPriorityWords,
                   kPriorityNames},
                  {"--replace", &options->change.replaces,
                   "Take away the tags that are not named"}},
      .oneOf = {"--category", "--keywords", "--add", "--remove", "--notes", "--priority"},
      .run = [options, &program] { runTag(*options, program); }};
  const std::vector<CommandOption> place = placeOptions(*options);
  command.options.insert(command.options.end(), place.begin(), place.end());
  return command;
}

Command untagCommand(Program& program) {
  auto options = std::make_shared<TagOptions>();
  options->change.replaces = true;
  const std::vector<CommandOption> place = placeOptions(*options);
  return {.name = "untag",
          .help = "Take all tags from messages",
          .options = {idArgument(options->given), place[0], place[1]},
          .run = [options, &program] { runUntag(*options, program); }};
}

}  // namespace keldane
