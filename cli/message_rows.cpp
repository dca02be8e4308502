#include "cli/message_rows.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/count_text.h"
#include "cli/json_text.h"
#include "cli/last_list.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/tag_text.h"
#include "cli/text_table.h"
#include "query/message_tags.h"
#include "query/statistics.h"

namespace keldane {
namespace {

using TagsById = std::unordered_map<std::uint32_t, TagRow>;

std::string jsonRow(const Emailrow& row, const TagsById& tags) {
  const auto found = tags.find(row.emailID);
  return jsonLine(
      {{"id", row.emailID},
       {"date", isoDate(plainDate(row))},
       {"from", row.emailFrom},
       {"to", row.emailTo},
       {"subject", row.emailSubject},
       {"mailbox", row.emailMailbox},
       {"attachments", row.emailAtch},
       {"tagged", isTagged(row)},
       {"tags", tagsJson(found == tags.end() ? std::nullopt : std::optional(found->second))}});
}

std::string tsvRow(const Emailrow& row) {
  return fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", row.emailID, isoDate(plainDate(row)),
                     printable(row.emailFrom), printable(row.emailTo), printable(row.emailSubject),
                     printable(row.emailMailbox), row.emailAtch, isTagged(row) ? 1 : 0);
}

/// On a terminal narrower than this the dates of a list are days, without the time.
constexpr std::size_t kRoomForTime = 80;
constexpr std::size_t kDayLength = 10;

std::string table(const std::vector<Emailrow>& list, const Pager& pager) {
  std::vector<std::vector<std::string>> rows;
  rows.reserve(list.size());
  for (const Emailrow& row : list) {
    rows.push_back({fmt::format("{}", row.emailID), dateToFit(row, pager.width()),
                    isTagged(row) ? "*" : "",
                    row.emailAtch != 0 ? fmt::format("{}", row.emailAtch) : "", row.emailFrom,
                    row.emailSubject});
  }
  std::string text = formatTable({{"ID", true, 0},
                                  {"DATE", false, 0, true},
                                  {"TAG", false, 0, true},
                                  {"ATT", true, 3},
                                  {"FROM", false, 32},
                                  {"SUBJECT", false, 0}},
                                 std::move(rows), pager.width());
  if (pager.color()) {
    text.insert(text.find('\n'), "\x1b[0m");
    text.insert(0, "\x1b[1m");
  }
  return text;
}

std::string readFormat(const std::string& name, RowFormat& format) {
  const std::pair<const char*, RowFormat> formats[] = {
      {"table", RowFormat::table}, {"tsv", RowFormat::tsv}, {"json", RowFormat::json}};
  for (const auto& [word, value] : formats) {
    if (compareNoCase(name, word) != 0) continue;
    format = value;
    return {};
  }
  return fmt::format("\"{}\" is none of table, tsv, json", printable(name));
}

}  // namespace

std::string dateToFit(const Emailrow& row, std::size_t width) {
  const bool isNarrow = width != 0 && width < kRoomForTime;
  return plainDate(row).substr(0, isNarrow ? kDayLength : std::string::npos);
}

void RowOptions::addTo(Command& command) {
  command.options.insert(
      command.options.end(),
      {{"--format", [this](const std::string& name) { return readFormat(name, format); },
        "table, tsv, or json: one object a line", "table|tsv|json"},
       {"--json", &json, "The same as --format json"},
       {"--database", &database, "Use this database", "NAME"},
       {"--connection", &connection, "Use this saved connection", "NAME"}});
}

namespace {

/// Prints the list: on a terminal through the pager and fitted to its width. TSV has a line of
/// titles, and no cell holds a tab or a line end.
void printMessages(const std::vector<Emailrow>& list, RowFormat format, const TagsById& tags,
                   const OutputStyle& style) {
  const Pager pager(style, format != RowFormat::json);
  if (format == RowFormat::table) {
    std::fputs(table(list, pager).c_str(), stdout);
    return;
  }
  if (format == RowFormat::tsv) {
    std::fputs("id\tdate\tfrom\tto\tsubject\tmailbox\tattachments\ttagged\n", stdout);
  }
  for (const Emailrow& row : list) {
    std::fputs((format == RowFormat::json ? jsonRow(row, tags) : tsvRow(row)).c_str(), stdout);
  }
}

/// Tells on standard error when the limit at the end of the statement has cut the list.
void tellOfLimit(ServerSession& session, const std::string& statement, std::uint64_t received,
                 const RowOptions& options, Program& program) {
  const std::optional<CutList> cut = findCut(session, statement, received);
  if (!cut) return;
  const auto grouped = [](std::uint64_t count) {
    return groupedNumber(static_cast<long long>(count));
  };
  (void)program.fail(fmt::format("the first {}{}; {}", grouped(received),
                                 cut->allCount ? " of " + grouped(*cut->allCount) : "",
                                 options.withoutLimit));
}

/// The tags of those rows that have any, for the formats that show them.
Result<TagsById> tagsFor(const std::vector<Emailrow>& rows, RowFormat format,
                         ServerSession& session) {
  if (format != RowFormat::json) return TagsById{};
  std::vector<std::uint32_t> ids;
  for (const Emailrow& row : rows) {
    if (isTagged(row)) ids.push_back(row.emailID);
  }
  return readTags(session, ids);
}

}  // namespace

int showList(Archiver& archiver, const ListRequest& request, const RowOptions& options,
             Program& program) {
  ServerSession& session = archiver.session();
  const RowFormat format = options.shownFormat();
  SearchOptions how;
  // Data for other programs has its dates as ISO 8601 writes them.
  if (format == RowFormat::table) how.style = dateStyleOf(archiver.settings().user);
  how.onlyTagged = request.onlyTagged;
  how.onlyUntagged = request.onlyUntagged;
  program.terminal.progressStarted("Retrieving...");
  Progress unseen;
  const Result<SearchResult> found = runSearch(session, request.statement, how, unseen);
  const Result<std::string> total = found ? countMessages(session) : Result<std::string>("0");
  program.terminal.progressEnded();
  if (!found) return program.failSql(found.error());
  std::fputs(found->complaint.c_str(), stderr);
  const Result<TagsById> tags = tagsFor(found->rows, format, session);
  if (!tags) return program.failSql(tags.error());
  printMessages(found->rows, format, *tags, program.style);
  // The list has been shown; without the file only the next narrowing fails, and tells so itself.
  if (const Result<void> kept = LastList(archiver).save(found->rows); !kept) {
    (void)program.fail("the list is not kept for --within-last-list: " + kept.error());
  }
  if (::isatty(STDERR_FILENO) != 0 && !program.terminal.quiet) {
    const std::string shown = countText(static_cast<long long>(found->rows.size()), "message");
    const long long all = total ? std::strtoll(total->c_str(), nullptr, 10) : 0;
    std::fprintf(stderr, "%s shown, %s in the archive.\n", shown.c_str(),
                 groupedNumber(all).c_str());
  }
  tellOfLimit(session, request.statement, found->receivedCount, options, program);
  return kExitDone;
}

}  // namespace keldane
