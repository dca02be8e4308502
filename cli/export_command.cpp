#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/last_list.h"
#include "cli/message_id.h"
#include "cli/program.h"
#include "cli/search_conditions.h"
#include "output/folder_exports.h"
#include "output/mbox_exports.h"
#include "output/sql_dump.h"
#include "output/table_exports.h"
#include "query/search_result.h"

namespace keldane {
namespace {

struct ExportOptions {
  std::string format;
  std::string path;
  std::vector<std::string> ids;
  bool lastList = false;
  SearchConditions conditions;
  bool noSource = false;
  bool noAttachments = false;
  bool requireExact = false;
  bool onlyFrom = false;
  bool onlyTo = false;
  std::string sqlDatabase = "keldane";
  std::optional<unsigned> firstId;
  std::string database;
  std::string connection;
};

/// Draws the progress line, and hears the user's interrupt.
class ExportProgress : public Progress {
 public:
  ExportProgress(TerminalInterface& terminal, std::size_t all)
      : terminal_(terminal), all_(static_cast<long long>(all)) {}
  void step(int count, std::string_view /*detail*/) override {
    if (count % kShownEach == 0) terminal_.showCount(count, "of " + groupedText());
  }
  [[nodiscard]] bool cancelled() const override { return interruptCount() > 0; }

 private:
  static constexpr int kShownEach = 50;
  [[nodiscard]] std::string groupedText() const { return countText(all_, "message"); }

  TerminalInterface& terminal_;
  const long long all_;
};

using Exporter = Result<OutputReport> (*)(const OutputContext&, const MessageList&,
                                          const ExportOptions&);

struct Format {
  const char* name;
  const char* help;
  Exporter run;
  bool isExact = false;  ///< it carries sources to the byte, and tells how many
  const char* leavesOut = "the archive no longer has them";
};

const std::array<Format, 10>& formats() {
  static const std::array<Format, 10> all = {{
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
       true},
      {"maildir", "a Maildir",
       [](const OutputContext& context, const MessageList& list, const ExportOptions& options) {
         return exportMaildir(context, list, options.path, options.requireExact);
       },
       true},
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
  }};
  return all;
}

/// A filter that names messages: everything else that does is an error beside it.
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

/// The ids of the last list, or of what the conditions find, in their order.
Result<std::vector<std::uint32_t>> idsFor(const ExportOptions& options, Archiver& archiver,
                                          Program& program) {
  std::vector<std::uint32_t> ids;
  if (options.lastList) {
    const Result<std::vector<std::string>> last = LastList(archiver).read();
    if (!last) return Failure{last.error()};
    for (const std::string& id : *last) {
      ids.push_back(static_cast<std::uint32_t>(std::strtoul(id.c_str(), nullptr, 10)));
    }
    return ids;
  }
  const Result<std::string> statement = statementOf(options.conditions, archiver, program);
  if (!statement) return Failure{statement.error()};
  SearchOptions how;
  how.onlyTagged = options.conditions.words.withTags;
  how.onlyUntagged = options.conditions.words.withoutTags;
  Progress unseen;
  const Result<SearchResult> found = runSearch(archiver.session(), *statement, how, unseen);
  if (!found) return Failure{"SQL error: " + found.error()};
  for (const Emailrow& row : found->rows) ids.push_back(row.emailID);
  return ids;
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
  watchInterrupts();
  Result<std::vector<std::uint32_t>> ids = std::vector<std::uint32_t>();
  if (options.ids.empty()) {
    ids = idsFor(options, *archiver, program);
  } else if (auto given = messageIds(options.ids, program)) {
    ids = std::move(*given);
  } else {
    return;
  }
  if (!ids) {
    (void)program.fail(ids.error());
    return;
  }
  const MessageList list = listOfIds(archiver->session(), std::move(*ids));
  ExportProgress progress(program.terminal, list.size);
  program.terminal.progressStarted("Exporting...");
  const Result<OutputReport> report = format.run(
      {archiver->session(), progress, sourceReading(archiver->settings().user).stripPlist}, list,
      options);
  program.terminal.progressEnded();
  if (!report) {
    (void)program.fail(printable(report.error()));
    return;
  }
  if (report->cancelled) {
    (void)program.fail("the export was ended before its last message");
    program.exitStatus = kExitInterrupted;
    return;
  }
  program.exitStatus = kExitDone;
  if (const std::size_t missing = list.size - report->messages; missing != 0) {
    (void)program.fail(
        fmt::format("{} of {} messages are not in it: {}", missing, list.size, format.leavesOut));
    program.exitStatus = kExitFailed;
  }
  if (program.terminal.quiet) return;
  const std::string count = countText(static_cast<long long>(report->messages), "message");
  std::fprintf(stderr, "%s exported%s.\n", count.c_str(),
               format.isExact ? (": " + sourcesText(report->sources)).c_str() : "");
}

void startExport(ExportOptions& options, Program& program) {
  const auto format =
      std::find_if(formats().begin(), formats().end(),
                   [&options](const Format& each) { return each.name == options.format; });
  // All that is asked for, and not the beginning of it.
  if (options.conditions.words.limit.empty()) options.conditions.words.limit = "none";
  Result<void> read = options.conditions.read(program.environment);
  const int ways = (options.ids.empty() ? 0 : 1) + (options.lastList ? 1 : 0) +
                   (hasConditions(options.conditions) ? 1 : 0);
  if (ways > 1) read = Failure{"name the messages by ids, by the last list, or by conditions"};
  if (!format->isExact && options.requireExact) {
    read = Failure{
        fmt::format("--require-exact is for eml, maildir and mboxrd, not for {}", format->name)};
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
  CommandOption ids = idArgument(options->ids);
  ids.required = false;
  command.options = {
      {.names = "FORMAT",
       .target = &options->format,
       .help = "What to write",
       .value = "FORMAT",
       .choices = names,
       .required = true},
      {.names = "FILE",
       .target = &options->path,
       .help = "Where to; a folder for eml and maildir",
       .value = "FILE",
       .required = true},
      std::move(ids),
      {"--last-list", &options->lastList, "The messages of the last list, search or browse"},
      {"--require-exact", &options->requireExact,
       "Fail when a source cannot be given back to the byte"},
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
       "The id of the first message there (sql; 1 when not given)", "N"}};
  options->conditions.addTo(command, program);
  command.options.insert(
      command.options.end(),
      {{"--database", &options->database, "Use this database", "NAME"},
       {"--connection", &options->connection, "Use this saved connection", "NAME"}});
  return command;
}

}  // namespace keldane
