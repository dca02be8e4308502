#include <cstdio>
#include <memory>
#include <unordered_set>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/message_selection.h"
#include "cli/output_progress.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/question.h"
#include "cli/text_table.h"
#include "find/index_forgetter.h"
#include "output/deletion.h"

namespace keldane {
namespace {

struct DeleteOptions {
  MessageSelection selection;
  bool onlyAttachments = false;
  bool yes = false;
  bool dryRun = false;
  std::string database;
  std::string connection;
};

/// The rows of what is there of these messages.
Result<std::vector<ListedMessage>> rowsOf(const MessageList& list) {
  std::vector<ListedMessage> rows;
  for (std::size_t index = 0; index < list.size; ++index) {
    Result<ListedMessage> row = list.row(index);
    if (!row) return Failure{row.error()};
    if (!row->date.empty()) rows.push_back(std::move(*row));
  }
  return rows;
}

std::string whatOf(const DeleteOptions& options, std::size_t messages) {
  return (options.onlyAttachments ? "the attachments of " : "") +
         countText(static_cast<long long>(messages), "message");
}

void printRows(const std::vector<ListedMessage>& messages, const OutputStyle& style) {
  const Pager pager(style);
  std::vector<std::vector<std::string>> rows;
  for (const ListedMessage& message : messages) {
    rows.push_back({fmt::format("{}", message.id), message.date, message.from, message.subject,
                    message.mailbox});
  }
  const std::string table = formatTable({{"ID", true, 0},
                                         {"DATE", false, 0, true},
                                         {"FROM", false, 32},
                                         {"SUBJECT", false, 0},
                                         {"MAILBOX", false, 24}},
                                        rows, pager.width());
  std::fwrite(table.data(), 1, table.size(), stdout);
}

DeletionReport carryOut(const DeleteOptions& options, const MessageList& list, Archiver& archiver,
                        Program& program) {
  OutputProgress progress(program.terminal, "Deleting from database...", list.size);
  const OutputContext context{archiver.session(), progress, {}};
  if (options.onlyAttachments) return deleteAttachments(context, list);
  IndexForgetter words(archiver.session(), supportFolder(archiver.process()));
  return deleteMessages(context, list, [&words](std::uint32_t id) { words.forget(id); });
}

void deleteThem(const DeleteOptions& options, const std::vector<ListedMessage>& messages,
                Archiver& archiver, Program& program) {
  std::vector<std::uint32_t> ids;
  for (const ListedMessage& message : messages) ids.push_back(message.id);
  const DeletionReport report =
      carryOut(options, listOfIds(archiver.session(), std::move(ids)), archiver, program);
  if (!report.error.empty()) {
    program.exitStatus = program.fail(printable(report.error));
  } else if (report.cancelled) {
    program.exitStatus = kExitInterrupted;
  }
  fmt::print("Deleted {}.\n", whatOf(options, report.messages));
}

void runDelete(DeleteOptions& options, Program& program) {
  Result<void> read = options.selection.read(program.environment, true);
  if (read && !options.yes && !options.dryRun && !canAsk()) {
    read = Failure{
        "delete wants --yes where nobody can be asked; --dry-run shows what it would "
        "delete"};
  }
  if (!read) {
    (void)program.fail(read.error());
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  auto ids = selectedIds(options.selection, *archiver, program);
  if (!ids) return;
  const std::size_t asked = ids->size();
  const auto messages = rowsOf(listedMessages(*archiver, std::move(*ids)));
  if (!messages) {
    (void)program.fail(printable(messages.error()));
    return;
  }
  program.exitStatus = kExitDone;
  if (const std::size_t missing = asked - messages->size(); missing != 0) {
    program.exitStatus =
        program.fail(fmt::format("{} of {} messages are not in the archive", missing, asked));
  }
  if (options.dryRun) {
    printRows(*messages, program.style);
    fmt::print("Would delete {}.\n", whatOf(options, messages->size()));
  } else if (messages->empty()) {
    fmt::print("Nothing is deleted.\n");
  } else if (options.yes || asksAndHearsYes(fmt::format("Delete {} for good?",
                                                        whatOf(options, messages->size())))) {
    deleteThem(options, *messages, *archiver, program);
  } else {
    fmt::print("Nothing is deleted.\n");
  }
}

}  // namespace

Command deleteCommand(Program& program) {
  auto options = std::make_shared<DeleteOptions>();
  Command command = {
      .name = "delete",
      .help = "Delete messages from the archive, or their attachments alone",
      .more =
          "Asks on a terminal, and wants --yes elsewhere. A message whose file still lies in a "
          "source comes back with the next run.",
      .run = [options, &program] { runDelete(*options, program); }};
  options->selection.addTo(command, program);
  command.options.insert(
      command.options.end(),
      {{"--only-attachments", &options->onlyAttachments,
        "Delete the attachments; the messages and their sources stay"},
       {.names = "--yes",
        .target = &options->yes,
        .help = "Delete without asking",
        .excludes = {"--dry-run"}},
       {"--dry-run", &options->dryRun, "Only show what would be deleted"},
       {"--database", &options->database, "Use this database", "NAME"},
       {"--connection", &options->connection, "Use this saved connection", "NAME"}});
  return command;
}

}  // namespace keldane
