#include "query/statistics.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kCountWidth = 9;

void appendCounts(std::string& report, const std::vector<StatsFigures::Count>& counts) {
  for (const StatsFigures::Count& entry : counts) {
    std::string padded = groupedNumber(entry.count);
    if (padded.size() < kCountWidth) padded.resize(kCountWidth, ' ');
    report += fmt::format("\t{}\t{}\n", padded, entry.name);
  }
}

int yearOf(const std::string& day) { return leadingInt(day.substr(0, 4)); }

}  // namespace

std::string groupedNumber(long long number) {
  std::string digits = fmt::format("{}", number);
  const std::size_t sign = number < 0 ? 1 : 0;
  for (std::size_t at = digits.size(); at > sign + 3;) {
    at -= 3;
    digits.insert(at, ",");
  }
  return digits;
}

namespace {

using Counts = std::vector<StatsFigures::Count>;

/// Sends the statements of a report; those that fail count as 0.
class FigureReader {
 public:
  explicit FigureReader(ServerSession& session) : session_(session) {}

  bool send(const std::string& sql) {
    if (session_.query(sql)) return true;
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    complete_ = false;
    return false;
  }

  std::string firstCell(const std::string& sql) {
    return send(sql) ? fetchFirstCell(session_) : "0";
  }

  int number(const std::string& sql) { return leadingInt(firstCell(sql)); }

  /// The day of a date; empty for none.
  std::string day(const std::string& sql) {
    const std::string date = firstCell(sql);
    const std::size_t colon = date.find(':');
    return colon == std::string::npos || colon < 3 ? "" : date.substr(0, colon - 3);
  }

  int countRows(const std::string& sql) {
    if (!send(sql)) return 0;
    const auto rows = session_.storeResult();
    return rows ? static_cast<int>(rows->rowCount()) : 0;
  }

  Counts counts(const std::string& sql) {
    Counts found;
    if (!send(sql)) return found;
    const auto rows = session_.storeResult();
    while (rows && rows->next()) {
      const auto name = rows->cell(0);
      const auto count = rows->cell(1);
      if (!name || !count || !isValidUtf8(*name) || !isValidUtf8(*count)) continue;
      found.push_back({std::string(*name), leadingInt(*count)});
    }
    return found;
  }

  std::vector<std::pair<int, int>> years(int first, int last) {
    std::vector<std::pair<int, int>> found;
    for (const StatsFigures::Count& year :
         counts("SELECT LEFT(date_fld,4) AS year, COUNT(id) FROM email GROUP BY year")) {
      const int number = leadingInt(year.name);
      if (number >= first && number <= last) found.emplace_back(number, year.count);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  [[nodiscard]] bool complete() const { return complete_; }

 private:
  ServerSession& session_;
  bool complete_ = true;
};

}  // namespace

StatsFigures findFigures(ServerSession& session, const StatsRequest& request) {
  const bool full = request.dates.isAll();
  const std::string between =
      fmt::format("date_fld >= \"{} 00:00:00\" AND date_fld <= \"{} {}\"", request.dates.firstDay,
                  request.dates.lastDay, request.includesLastDay ? "23:59:59" : "00:00:00");
  const std::string where =
      full ? " WHERE date_fld > \"1901-01-01 00:00:00\"" : " WHERE " + between;
  // For statements that have a condition of their own; the full range adds none to them.
  const std::string andRange = full ? "" : " AND " + between;
  FigureReader reader(session);
  const auto top = [&](const char* field) {
    return reader.counts(fmt::format(
        "SELECT {0}, COUNT(*) AS count FROM email{1} GROUP BY {0} ORDER BY count DESC LIMIT {2}",
        field, where, request.top));
  };
  StatsFigures found;
  found.firstDay = reader.day("SELECT min(date_fld) FROM email" + where);
  found.lastDay = reader.day("SELECT max(date_fld) FROM email" + where);
  found.total = reader.number("SELECT count(id) FROM email" + where);
  found.mailboxes = reader.countRows("SELECT DISTINCT mailbox FROM email" + where);
  found.senders = top("from_fld");
  found.recipients = top("to_fld");
  // Tags are counted only when the attachments could be.
  if (reader.send("SELECT COUNT(id) FROM email WHERE numAttach>0" + andRange)) {
    found.withAttachments = leadingInt(fetchFirstCell(session));
    found.withTags =
        reader.number("SELECT COUNT(tags.id) FROM tags,email WHERE tags.id=email.id" + andRange);
  }
  if (!found.firstDay.empty() && !found.lastDay.empty()) {
    found.years = reader.years(yearOf(found.firstDay), yearOf(found.lastDay));
  }
  if (request.byMailbox) {
    found.byMailbox =
        reader.counts("SELECT mailbox, COUNT(*) AS count FROM email" +
                      (full ? "" : " WHERE " + between) + " GROUP BY mailbox ORDER BY count DESC");
  }
  found.complete = reader.complete();
  return found;
}

std::string statsReportText(const StatsFigures& figures, const StatsRequest& request) {
  std::string report = fmt::format("\nFrom {} thru {}\n\n", figures.firstDay, figures.lastDay);
  report +=
      fmt::format("Total Number of emails in date range: {}\n\n", groupedNumber(figures.total));
  report += fmt::format("Number of emails with attachments:    {}\n\n",
                        groupedNumber(figures.withAttachments));
  report +=
      fmt::format("Number of emails with tags:           {}\n\n", groupedNumber(figures.withTags));
  report +=
      fmt::format("Number of mailboxes:                  {}\n\n", groupedNumber(figures.mailboxes));
  report += "By Year:\n";
  for (const auto& [year, count] : figures.years) {
    report += fmt::format("\t{}:  {}\n", year, groupedNumber(count));
  }
  report += fmt::format("\nTop {} Senders:\n", request.top);
  appendCounts(report, figures.senders);
  report += fmt::format("\nTop {} Recipients:\n", request.top);
  appendCounts(report, figures.recipients);
  report += "\n";
  if (request.byMailbox) {
    report += "By Mailbox:\n";
    appendCounts(report, figures.byMailbox);
    report += "\n";
  }
  return report;
}

}  // namespace keldane
