#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>
#include <unordered_set>

#include <fmt/format.h>

#include "app/tag_row.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/priority_option.h"
#include "cli/program.h"

namespace keldane {
namespace {

struct TagOptions {
  std::vector<std::uint32_t> ids;
  std::string category;
  std::string keywords;
  std::string notes;
  int priority = 0;
  bool replace = false;
  std::string database;
  std::string connection;
};

/// Makes the messages of these ids the list, all of it selected. Null, and a message, when one of
/// them is not in the archive.
KeldaneController* selectMessages(const TagOptions& options, Program& program) {
  KeldaneController* controller = program.connected(options.connection, options.database);
  if (controller == nullptr) return nullptr;
  ResultList& list = controller->resultList();
  list.currentSql = fmt::format(
      "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email WHERE id IN ({})",
      fmt::join(options.ids, ","));
  list.retrieve();
  if (list.listCountTextField.empty()) return nullptr;
  std::unordered_set<std::uint32_t> found;
  for (const Emailrow& row : list.emailRows) found.insert(row.emailID);
  for (const std::uint32_t id : options.ids) {
    if (found.count(id) != 0) continue;
    (void)program.fail(fmt::format("there is no message {}; nothing is changed", id));
    return nullptr;
  }
  TagPanel& panel = controller->tagPanel();
  panel.selectedRows.clear();
  for (std::size_t i = 0; i < list.emailRows.size(); ++i) panel.selectedRows.push_back(i);
  return controller;
}

/// `doneText`, unless empty, takes the place of the panel's own text when all went well.
void giveTags(const TagOptions& options, bool replace, std::string_view doneText,
              Program& program) {
  program.exitStatus = kExitFailed;
  KeldaneController* controller = selectMessages(options, program);
  if (controller == nullptr) return;
  TagPanel& panel = controller->tagPanel();
  controller->settings().catTextField = options.category;
  panel.form.keywordsTextField = options.keywords;
  panel.form.notesTextField = options.notes;
  panel.form.priorityButton = static_cast<std::size_t>(options.priority);
  const bool done = replace ? panel.replaceTags() : panel.addTags();
  if (done) program.exitStatus = kExitDone;
  if (done && !doneText.empty()) {
    fmt::print("{}\n", doneText);
  } else {
    fmt::print("{}\n", panel.sqlText);
  }
}

std::string checkId(const std::string& text) {
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  const unsigned long long id = digits ? std::strtoull(text.c_str(), nullptr, 10) : 0;
  if (id != 0 && id <= std::numeric_limits<std::uint32_t>::max()) return {};
  return fmt::format("\"{}\" is no id of a message", printable(text));
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

}  // namespace

void addTagCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<TagOptions>();
  CLI::App* command = app.add_subcommand(
      "tag",
      "Give tags to messages. They take the place of all tags that the messages had, with and "
      "without --replace");
  addIds(*command, *options);
  CLI::Option_group* tags = command->add_option_group("tags");
  tags->add_option("--category", options->category, "Category");
  tags->add_option("--keywords", options->keywords, "Keywords, between blanks");
  tags->add_option("--notes", options->notes, "Notes");
  tags->add_option("--priority", options->priority, kPriorityWords)
      ->option_text("PRIORITY")
      ->transform(priorityNames());
  tags->require_option(1, 0);
  command->add_flag("--replace", options->replace, "Keep blanks at the beginning of a value");
  addPlace(*command, *options);
  command->callback([options, &program] { giveTags(*options, options->replace, "", program); });

  auto untagged = std::make_shared<TagOptions>();
  CLI::App* untag = app.add_subcommand("untag", "Take all tags from messages");
  addIds(*untag, *untagged);
  addPlace(*untag, *untagged);
  untag->callback(
      [untagged, &program] { giveTags(*untagged, true, "The tags are taken away.", program); });
}

}  // namespace keldane
