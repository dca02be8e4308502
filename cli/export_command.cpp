#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/message_selection.h"
#include "cli/output_progress.h"
#include "cli/program.h"
#include "cli/window_pdf.h"
#include "output/folder_exports.h"
#include "output/mbox_exports.h"
#include "output/sql_dump.h"
#include "output/table_exports.h"

namespace keldane {
namespace {

struct ExportOptions {
  std::string format;
  std::string path;
  MessageSelection selection;
  bool noSource = false;
  bool noAttachments = false;
  bool requireExact = false;
  bool asText = false;
  bool onlyFrom = false;
  bool onlyTo = false;
  std::string sqlDatabase = "keldane";
  std::optional<unsigned> firstId;
  std::string database;
  std::string connection;
};

using Exporter = Result<OutputReport> (*)(const OutputContext&, const MessageList&,
                                          const ExportOptions&);

struct Format {
  const char* name;
  const char* help;
  Exporter run;          ///< null: the window program does it
  bool isExact = false;  ///< it carries sources to the byte, and tells how many
  const char* leavesOut = kNoLongerThere;
  bool isFolder = false;  ///< of one file a message
};

const std::array<Format, 11>& formats() {
  static const std::array<Format, 11> all = {{
      {"tab", "tab-delimited text, UTF-16",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportTab(context, list, options.path, !options.noSource);
       }},
      {"comma", "comma-delimited text, UTF-16",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportComma(context, list, options.path, !options.noSource);
       }},
      {"mbox", "mbox in ASCII",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportMbox(context, list, options.path);
       },
       false, "they have neither a source nor an address and a date"},
      {"addresses", "the addresses, one a line",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportAddresses(context, list, options.path, !options.onlyTo, !options.onlyFrom);
       }},
      {"sql", "a script for the mysql tool",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportSQL(
             context, list,
             {options.path, options.sqlDatabase, options.firstId.value_or(1), !options.noSource});
       }},
      {"eml", "a folder of .eml files",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportEml(context, list, options.path, options.requireExact);
       },
       true, kNoLongerThere, true},
      {"maildir", "a Maildir",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportMaildir(context, list, options.path, options.requireExact);
       },
       true, kNoLongerThere, true},
      {"mboxrd", "mbox whose quoting can be undone",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportMboxrd(context, list, options.path, options.requireExact);
       },
       true},
      {"json", "a JSON object a line",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportJson(context, list, options.path, !options.noAttachments);
       }},
      {"csv", "comma-separated values by RFC 4180, UTF-8",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportCsv(context, list, options.path);
       }},
      {"pdf", "pages to read and print, with the attachments embedded", nullptr},
  }};
  return all;
}

std::string sourcesText(const SourceCounts& counts) {
  std::string text = fmt::format("{} to the byte", counts.exact);
  const std::pair<std::size_t, const char*> others[] = {
      {counts.asText, "as text alone, as their bytes are not known"},
      {counts.assembled, "put together from incomplete files"},
      {counts.rebuilt, "made anew from their fields, without a source"}};
  for (const auto& [count, words] : others) {
    if (count != 0) text += fmt::format(", {} {}", count, words);
  }
  return text;
}

void runExport(const ExportOptions& options, const Format& format, Program& program) {
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  auto ids = selectedIds(options.selection, *archiver, program);
  if (!ids) return;
  const MessageList list = listOfIds(archiver->session(), *ids);
  const Result<OutputReport> report = [&] {
    OutputProgress progress(program.terminal, "Exporting...", list.size);
    if (format.run == nullptr) {
      return exportPdfByWindow({options.path, options.asText, options.connection, options.database},
                               *ids, progress, program);
    }
    return format.run(
        {archiver->session(), progress, sourceReading(archiver->settings().user).stripPlist}, list,
        options);
  }();
  if (!tellOutput(report, list.size, format.leavesOut, program)) return;
  if (program.terminal.quiet) return;
  const std::string count = countText(static_cast<long long>(report->messages), "message");
  std::fprintf(stderr, "%s exported%s.\n", count.c_str(),
               format.isExact ? (": " + sourcesText(report->sources)).c_str() : "");
}

void startExport(ExportOptions& options, Program& program) {
  const auto format =
      std::find_if(formats().begin(), formats().end(),
                   [&options](const Format& each) { return each.name == options.format; });
  Result<void> read = options.selection.read(program.environment);
  if (!format->isExact && options.requireExact) {
    read = Failure{
        fmt::format("--require-exact is for eml, maildir and mboxrd, not for {}", format->name)};
  }
  if (format->isFolder && options.path == "-") {
    read = Failure{fmt::format("{} is written to a folder; name one", format->name)};
  }
  if (!read) {
    (void)program.fail(read.error());
    program.exitStatus = kExitUsage;
    return;
  }
  runExport(options, *format, program);
}

}  // namespace

Command exportCommand(Program& program) {
  auto options = std::make_shared<ExportOptions>();
  Command command = {
      .name = "export",
      .help = "Write messages to a file or folder for other programs",
      .more =
          "Without ids, --last-list or conditions the whole archive is exported. \"-\" stands "
          "for standard output. The formats:",
      .run = [options, &program] { startExport(*options, program); }};
  std::vector<std::string> names;
  for (const Format& format : formats()) {
    names.emplace_back(format.name);
    command.more += fmt::format(" {}: {};", format.name, format.help);
  }
  command.more.back() = '.';
  command.options = {
      {.names = "FORMAT",
       .target = &options->format,
       .help = "What to write",
       .value = "FORMAT",
       .choices = names,
       .required = true},
      {.names = "FILE",
       .target = &options->path,
       .help = "Where to; a folder for eml and maildir; for pdf a file, or a folder that is there "
               "or ends with \"/\", for one file a message",
       .value = "FILE",
       .required = true}};
  options->selection.addTo(command, program);
  const std::vector<CommandOption> more = {
      {"--require-exact", &options->requireExact,
       "Fail when a source cannot be given back to the byte"},
      {"--text", &options->asText, "Lay out the text of messages that have HTML (pdf)"},
      {"--no-source", &options->noSource, "Leave out the raw sources (tab, comma, sql)"},
      {"--no-attachments", &options->noAttachments, "Leave out what is in attachments (json)"},
      {.names = "--only-from",
       .target = &options->onlyFrom,
       .help = "Only senders (addresses)",
       .excludes = {"--only-to"}},
      {"--only-to", &options->onlyTo, "Only receivers (addresses)"},
      {"--sql-database", &options->sqlDatabase,
       "The database that the script fills (sql; \"keldane\" when not given)", "NAME"},
      {"--first-id", numberInto(options->firstId, 1, 4000000000U),
       "The id of the first message there (sql; 1 when not given)", "N"},
      {"--database", &options->database, "Use this database", "NAME"},
      {"--connection", &options->connection, "Use this saved connection", "NAME"}};
  command.options.insert(command.options.end(), more.begin(), more.end());
  return command;
}

}  // namespace keldane
