#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/message_selection.h"
#include "cli/output_progress.h"
#include "cli/program.h"
#include "output/saved_text.h"

namespace keldane {
namespace {

struct SaveOptions {
  std::string path;
  MessageSelection selection;
  bool stripQuoted = false;
  std::string database;
  std::string connection;
};

using Saver = Result<OutputReport> (*)(const OutputContext&, const MessageList&, const SaveOptions&,
                                       Archiver&, Program&);

Result<OutputReport> saveTheList(const OutputContext& context, const MessageList& list,
                                 const SaveOptions& options, Archiver& archiver, Program& program) {
  return saveList(context, list, options.path, searchTextOf(options.selection, archiver, program));
}

Result<OutputReport> saveTheMessages(const OutputContext& context, const MessageList& list,
                                     const SaveOptions& options, Archiver& archiver,
                                     Program& /*program*/) {
  return saveMessages(context, list, options.path,
                      textReader(archiver.session(), archiver.settings().user),
                      options.stripQuoted);
}

Result<OutputReport> saveTheSources(const OutputContext& context, const MessageList& list,
                                    const SaveOptions& options, Archiver& /*archiver*/,
                                    Program& /*program*/) {
  return saveSources(context, list, options.path);
}

struct Kind {
  const char* name;
  const char* help;
  const char* leavesOut;
  Saver save;
};

constexpr Kind kKinds[] = {
    {"list", "The search and a line for each message, in ASCII with \\u escapes", kNoLongerThere,
     saveTheList},
    {"messages", "The messages as text, with the names of their attachments, in UTF-16",
     kNoLongerThere, saveTheMessages},
    {"source", "The raw sources as they are kept, an empty line behind each",
     "the archive has no source of them", saveTheSources}};

void runSave(SaveOptions& options, const Kind& kind, Program& program) {
  if (const Result<void> read = options.selection.read(program.environment); !read) {
    (void)program.fail(read.error());
    program.exitStatus = kExitUsage;
    return;
  }
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  auto ids = selectedIds(options.selection, *archiver, program);
  if (!ids) return;
  const MessageList list = listedMessages(*archiver, std::move(*ids));
  const Result<OutputReport> report = [&] {
    OutputProgress progress(program.terminal, "Saving...", list.size);
    return kind.save(
        {archiver->session(), progress, sourceReading(archiver->settings().user).stripPlist}, list,
        options, *archiver, program);
  }();
  if (!tellOutput(report, list.size, kind.leavesOut, program) || program.terminal.quiet) return;
  std::fprintf(stderr, "%s saved.\n",
               countText(static_cast<long long>(report->messages), "message").c_str());
}

Command kindCommand(const Kind& kind, Program& program) {
  auto options = std::make_shared<SaveOptions>();
  Command command = {.name = kind.name,
                     .help = kind.help,
                     .options = {{.names = "FILE",
                                  .target = &options->path,
                                  .help = "Where to; \"-\" stands for standard output",
                                  .value = "FILE",
                                  .required = true}},
                     .run = [options, &kind, &program] { runSave(*options, kind, program); }};
  options->selection.addTo(command, program);
  if (kind.save == saveTheMessages) {
    command.options.push_back({"--strip-quoted", &options->stripQuoted,
                               "Without the messages that are quoted in answers, as far as they "
                               "are known"});
  }
  command.options.push_back({"--database", &options->database, "Use this database", "NAME"});
  command.options.push_back(
      {"--connection", &options->connection, "Use this saved connection", "NAME"});
  return command;
}

}  // namespace

Command saveCommand(Program& program) {
  Command command = {
      .name = "save",
      .help = "Save the list, messages as text, or their sources",
      .more = "Without ids, --last-list or conditions all messages of the archive are saved."};
  for (const Kind& kind : kKinds) command.commands.push_back(kindCommand(kind, program));
  return command;
}

}  // namespace keldane
