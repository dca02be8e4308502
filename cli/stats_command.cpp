#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>

#include <fmt/format.h>

#include "base/shown_text.h"
#include "cli/commands.h"
#include "cli/day_option.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/search_options.h"
#include "cli/terminal_text.h"
#include "cli/text_table.h"
#include "query/statistics.h"

namespace keldane {
namespace {

struct StatsOptions {
  std::string connection;
  std::string database;
  std::string since;
  std::string until;
  unsigned top = 10;
  bool mailboxes = false;
  bool json = false;
};

Result<StatsRequest> requestOf(const StatsOptions& options) {
  const Result<DateRange> dates = readDays(options.since, options.until);
  if (!dates) return Failure{dates.error()};
  return StatsRequest{*dates, true, std::to_string(options.top), options.mailboxes};
}

nlohmann::ordered_json listOf(const std::vector<StatsFigures::Count>& counts, const char* name) {
  auto list = nlohmann::ordered_json::array();
  for (const StatsFigures::Count& entry : counts) {
    list.push_back({{name, entry.name}, {"messages", entry.count}});
  }
  return list;
}

void printFigures(const StatsFigures& figures, const StatsRequest& request) {
  nlohmann::ordered_json object = {
      {"first", figures.firstDay},    {"last", figures.lastDay},
      {"messages", figures.total},    {"withAttachments", figures.withAttachments},
      {"withTags", figures.withTags}, {"mailboxes", figures.mailboxes}};
  auto years = nlohmann::ordered_json::object();
  for (const auto& [year, count] : figures.years) years[std::to_string(year)] = count;
  object["years"] = std::move(years);
  object["senders"] = listOf(figures.senders, "address");
  object["recipients"] = listOf(figures.recipients, "address");
  if (request.byMailbox) object["byMailbox"] = listOf(figures.byMailbox, "mailbox");
  printJson(object);
}

/// The report's lines cut to `width` columns: only an address or a mailbox, behind the last tab of
/// its line, can be longer. Tabs lead to every eighth column.
std::string fitted(const std::string& report, std::size_t width) {
  constexpr std::size_t kTab = 8;
  std::string fit;
  for (std::size_t begin = 0; begin < report.size();) {
    const std::size_t end = std::min(report.find('\n', begin), report.size());
    const std::string_view line = std::string_view(report).substr(begin, end - begin);
    begin = end + 1;
    const std::size_t name = line.rfind('\t') + 1;
    std::size_t column = 0;
    for (const char c : line.substr(0, name)) column += c == '\t' ? kTab - column % kTab : 1;
    fit += line.substr(0, name);
    fit += fitToWidth(line.substr(name), width > column ? width - column : 1) + "\n";
  }
  return fit;
}

void runStats(const StatsOptions& options, Program& program) {
  const Result<StatsRequest> request = requestOf(options);
  if (!request) {
    (void)program.fail(request.error());
    program.exitStatus = kExitUsage;
    return;
  }
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  const StatsFigures figures = findFigures(archiver->session(), *request);
  if (options.json) {
    printFigures(figures, *request);
  } else {
    const std::string report = statsReportText(figures, *request);
    const std::size_t width = outputWidth();
    std::fputs((width != 0 ? fitted(terminalText(report), width) : shownText(report)).c_str(),
               stdout);
  }
  if (!figures.complete) program.exitStatus = kExitFailed;
}

}  // namespace

Command statsCommand(Program& program) {
  auto options = std::make_shared<StatsOptions>();
  return {.name = "stats",
          .help = "Report how many messages there are: by year, by sender, by recipient",
          .options = {{"--since", dayInto(options->since, program),
                       "From this day, month or year on: 2024-02-28, 2024-02, 2024, yesterday, 3d, "
                       "2w or last-month",
                       "DAY"},
                      {"--until", dayInto(options->until, program),
                       "To the end of this day, month or year", "DAY"},
                      {"--top", numberInto(options->top, 0, std::numeric_limits<unsigned>::max()),
                       "Length of the lists of senders and recipients (10)", "N"},
                      {"--mailboxes", &options->mailboxes, "List the mailboxes too"},
                      {"--connection", &options->connection, "Saved connection to use", "NAME"},
                      {"--database", &options->database, "Database to look at", "NAME"},
                      {"--json", &options->json, "Print one JSON object"}},
          .run = [options, &program] { runStats(*options, program); }};
}

}  // namespace keldane
