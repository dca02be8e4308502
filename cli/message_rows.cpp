#include "cli/message_rows.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

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

std::string table(const ResultList& list, const Pager& pager) {
  std::vector<std::vector<std::string>> rows;
  rows.reserve(list.emailRows.size());
  for (const Emailrow& row : list.emailRows) {
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

bool isTagged(const Emailrow& row) { return row.emailDate.ends_with("*"); }

std::string plainDate(const Emailrow& row) {
  return row.emailDate.substr(0, row.emailDate.size() - (isTagged(row) ? 1 : 0));
}

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

void RowOptions::prepare(ResultList& list) const {
  list.keepsServerDates = shownFormat() != RowFormat::table;
}

namespace {

/// Prints the list: on a terminal through the pager and fitted to its width. TSV has a line of
/// titles, and no cell holds a tab or a line end.
void printMessages(const ResultList& list, RowFormat format, const TagsById& tags) {
  const Pager pager(format != RowFormat::json);
  if (format == RowFormat::table) {
    std::fputs(table(list, pager).c_str(), stdout);
    return;
  }
  if (format == RowFormat::tsv) {
    std::fputs("id\tdate\tfrom\tto\tsubject\tmailbox\tattachments\ttagged\n", stdout);
  }
  for (const Emailrow& row : list.emailRows) {
    std::fputs((format == RowFormat::json ? jsonRow(row, tags) : tsvRow(row)).c_str(), stdout);
  }
}

/// Tells on standard error when the limit at the end of the list's statement has cut it.
void tellOfLimit(KeldaneController& controller, const RowOptions& options, Program& program) {
  const ResultList& list = controller.resultList();
  const std::optional<LimitedStatement> limited = splitLimit(list.currentSql);
  if (!limited || list.receivedCount < limited->limit) return;
  ServerSession& session = controller.session();
  std::string total;
  // The user's own statement may name a column twice, and then it cannot be counted so.
  if (session.query("SELECT count(*) FROM (" + limited->unlimited + ") AS uncut")) {
    const std::string count = fetchFirstCell(session);
    const unsigned long long all = std::strtoull(count.c_str(), nullptr, 10);
    if (all <= list.receivedCount) return;
    total = " of " + groupedNumber(static_cast<long long>(all));
  }
  (void)program.fail(fmt::format("the first {}{}; {}",
                                 groupedNumber(static_cast<long long>(list.receivedCount)), total,
                                 options.withoutLimit));
}

}  // namespace

std::optional<LimitedStatement> splitLimit(std::string_view statement) {
  const std::size_t end = statement.find_last_not_of("; \t\r\n");
  statement = statement.substr(0, end == std::string_view::npos ? 0 : end + 1);
  const std::size_t digits = statement.find_last_not_of("0123456789");
  if (digits == std::string_view::npos || digits + 1 == statement.size()) return std::nullopt;
  const std::string number(statement.substr(digits + 1));
  const std::string_view before = trimWhitespace(statement.substr(0, digits + 1));
  constexpr std::string_view kLimit = " LIMIT";
  if (before.size() < kLimit.size()) return std::nullopt;
  const std::size_t at = before.size() - kLimit.size();
  if (compareNoCase(before.substr(at), kLimit) != 0) return std::nullopt;
  return LimitedStatement{std::string(before.substr(0, at)),
                          std::strtoull(number.c_str(), nullptr, 10)};
}

int showList(KeldaneController& controller, const RowOptions& options, Program& program) {
  const ResultList& list = controller.resultList();
  if (list.listCountTextField.empty()) return kExitFailed;
  TagsById tags;
  if (options.shownFormat() == RowFormat::json) {
    std::vector<std::uint32_t> ids;
    for (const Emailrow& row : list.emailRows) {
      if (isTagged(row)) ids.push_back(row.emailID);
    }
    auto found = readTags(controller.session(), ids);
    if (!found) return program.failSql(found.error());
    tags = std::move(*found);
  }
  printMessages(list, options.shownFormat(), tags);
  // The list has been shown; without the file only the next narrowing fails, and tells so itself.
  if (const Result<void> kept = LastList(controller).save(); !kept) {
    (void)program.fail("the list is not kept for --within-last-list: " + kept.error());
  }
  if (::isatty(STDERR_FILENO) != 0 && !program.terminal.quiet) {
    const std::string shown = countText(list.rowCount, "message");
    const std::string all = groupedNumber(static_cast<long long>(list.archiveCount));
    std::fprintf(stderr, "%s shown, %s in the archive.\n", shown.c_str(), all.c_str());
  }
  tellOfLimit(controller, options, program);
  return kExitDone;
}

}  // namespace keldane
