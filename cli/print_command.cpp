#include <memory>
#include <optional>

#include "app/query_settings.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/message_selection.h"
#include "cli/output_progress.h"
#include "cli/program.h"
#include "output/output_file.h"
#include "output/saved_text.h"

namespace keldane {
namespace {

struct PrintOptions {
  MessageSelection selection;
  std::string path;
  std::string printer;
  bool stripQuoted = false;
  std::string database;
  std::string connection;
};

Result<void> write(const std::string& text, const std::string& path) {
  OutputFile file(path);
  if (Result<void> opened = file.open(); !opened) return opened;
  // What comes out of a message must not steer the terminal either.
  file.write(shownText(text));
  return file.commit();
}

void runPrint(PrintOptions& options, Program& program) {
  if (const Result<void> read = options.selection.read(program.environment, true); !read) {
    (void)program.fail(read.error());
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  auto ids = selectedIds(options.selection, *archiver, program);
  if (!ids) return;
  const UserSettings& user = archiver->settings().user;
  const MessageList list = listedMessages(*archiver, std::move(*ids));
  const auto text = [&] {
    OutputProgress progress(program.terminal, "Reading messages...", list.size);
    return printedList({archiver->session(), progress, sourceReading(user).stripPlist}, list,
                       textReader(archiver->session(), user), options.stripQuoted);
  }();
  if (!text) {
    (void)program.fail(printable(text.error()));
  } else if (!*text) {
    program.exitStatus = kExitInterrupted;
    (void)program.fail("ended before the last message; nothing is printed");
  } else if ((*text)->empty()) {
    (void)program.fail("there is no such message; nothing is printed");
  } else {
    const Result<void> printed = options.path.empty()
                                     ? sendToPrinter(program.tools, **text, options.printer)
                                     : write(**text, options.path);
    program.exitStatus = printed ? kExitDone : program.fail(printable(printed.error()));
  }
}

}  // namespace

Command printCommand(Program& program) {
  auto options = std::make_shared<PrintOptions>();
  Command command = {.name = "print",
                     .help =
                         "Send messages to the printer as text, with the names of their "
                         "attachments",
                     .run = [options, &program] { runPrint(*options, program); }};
  options->selection.addTo(command, program);
  command.options.insert(
      command.options.end(),
      {{.names = "--to",
        .target = &options->path,
        .help = "Write what would be printed to this file, or with \"-\" to standard output",
        .value = "FILE",
        .excludes = {"--printer"}},
       {"--printer", &options->printer, "This printer, by its name at `lp`", "NAME"},
       {"--strip-quoted", &options->stripQuoted,
        "Without the messages that are quoted in answers, as far as they are known"},
       {"--database", &options->database, "Use this database", "NAME"},
       {"--connection", &options->connection, "Use this saved connection", "NAME"}});
  return command;
}

}  // namespace keldane
