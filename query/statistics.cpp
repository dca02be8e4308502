#include "query/statistics.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kCountWidth = 9;
constexpr std::size_t kTimeAt = 11;  // of the time in "2024-02-28 00:00:00"
/// So many years in a row without mail, and the next one with mail is asked for: one forged date in
/// a far future must not cost a search of the archive for each year until then.
constexpr int kEmptyYears = 20;

struct StatsRange {
  std::string begin;
  std::string end;
  bool full = false;
};

StatsRange statsRange(const StatsForm& asked) {
  const DateMenus& dates = asked.dates;
  const auto chosen = [](const std::string& title, const char* otherwise) {
    return title == "All" ? std::string(otherwise) : title;
  };
  const std::string endMonth = chosen(dates.endMo, "12");
  const bool thirty = endMonth == "04" || endMonth == "06" || endMonth == "09" || endMonth == "11";
  const char* lastDay = endMonth == "02" ? "28" : thirty ? "30" : "31";
  StatsRange range;
  range.begin = fmt::format("{}-{}-{} 00:00:00", chosen(dates.beginYr, "1901"),
                            chosen(dates.beginMo, "01"), chosen(dates.beginDa, "01"));
  range.end = fmt::format("{}-{}-{} 00:00:00", chosen(dates.endYr, "2050"), endMonth,
                          chosen(dates.endDa, lastDay));
  range.full = range.begin == "1901-01-01 00:00:00" && range.end == "2050-12-31 00:00:00";
  if (asked.includesLastDay) range.end.replace(kTimeAt, std::string::npos, "23:59:59");
  return range;
}

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

bool StatisticsReport::send(const std::string& sql) {
  if (session_.query(sql)) return true;
  std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
  complete_ = false;
  return false;
}

std::string StatisticsReport::firstCell(const std::string& sql) {
  return send(sql) ? fetchFirstCell(session_) : "0";
}

int StatisticsReport::number(const std::string& sql) { return leadingInt(firstCell(sql)); }

std::string StatisticsReport::dayOf(const std::string& sql) {
  const std::string date = firstCell(sql);
  const std::size_t colon = date.find(':');
  return colon == std::string::npos || colon < 3 ? "" : date.substr(0, colon - 3);
}

int StatisticsReport::countRows(const std::string& sql) {
  if (!send(sql)) return 0;
  const auto rows = session_.storeResult();
  return rows ? static_cast<int>(rows->rowCount()) : 0;
}

StatisticsReport::Counts StatisticsReport::readCounts(const std::string& sql) {
  Counts counts;
  if (!send(sql)) return counts;
  const auto rows = session_.storeResult();
  while (rows && rows->next()) {
    const auto name = rows->cell(0);
    const auto count = rows->cell(1);
    if (!name || !count || !isValidUtf8(*name) || !isValidUtf8(*count)) continue;
    counts.push_back({std::string(*name), leadingInt(*count)});
  }
  return counts;
}

int StatisticsReport::nextYearWithMail(int year, int last) {
  const std::string day = dayOf(fmt::format(
      "SELECT min(date_fld) FROM email WHERE date_fld >= \"{:04}-01-01 00:00:00\"", year));
  return day.empty() ? last : yearOf(day);
}

std::vector<std::pair<int, int>> StatisticsReport::readYears(int first, int last) {
  std::vector<std::pair<int, int>> years;
  int empty = 0;
  for (int year = first; year <= last; ++year) {
    const int count =
        number(fmt::format("SELECT COUNT(id) FROM email WHERE date_fld LIKE '{}%'", year));
    if (count != 0) years.emplace_back(year, count);
    empty = count != 0 ? 0 : empty + 1;
    if (empty < kEmptyYears || year == last) continue;
    year = std::max(year, nextYearWithMail(year + 1, last) - 1);
    empty = 0;
  }
  return years;
}

StatsFigures StatisticsReport::figures(const StatsForm& asked) {
  const StatsRange range = statsRange(asked);
  const std::string between =
      fmt::format("date_fld >= \"{}\" AND date_fld <= \"{}\"", range.begin, range.end);
  const std::string where =
      range.full ? " WHERE date_fld > \"1901-01-01 00:00:00\"" : " WHERE " + between;
  // For statements that have a condition of their own; the full range adds none to them.
  const std::string andRange = range.full ? "" : " AND " + between;
  const auto top = [&](const char* field) {
    return readCounts(fmt::format(
        "SELECT {0}, COUNT(*) AS count FROM email{1} GROUP BY {0} ORDER BY count DESC LIMIT {2}",
        field, where, asked.limitSenderTextField));
  };
  complete_ = true;
  StatsFigures found;
  found.firstDay = dayOf("SELECT min(date_fld) FROM email" + where);
  found.lastDay = dayOf("SELECT max(date_fld) FROM email" + where);
  found.total = number("SELECT count(id) FROM email" + where);
  found.mailboxes = countRows("SELECT DISTINCT mailbox FROM email" + where);
  found.senders = top("from_fld");
  found.recipients = top("to_fld");
  // Tags are counted only when the attachments could be.
  if (send("SELECT COUNT(id) FROM email WHERE numAttach>0" + andRange)) {
    found.withAttachments = leadingInt(fetchFirstCell(session_));
    found.withTags =
        number("SELECT COUNT(tags.id) FROM tags,email WHERE tags.id=email.id" + andRange);
  }
  if (!found.firstDay.empty() && !found.lastDay.empty()) {
    found.years = readYears(yearOf(found.firstDay), yearOf(found.lastDay));
  }
  if (asked.statsByMailboxCheck) {
    found.byMailbox = readCounts("SELECT mailbox, COUNT(*) AS count FROM email" +
                                 (range.full ? "" : " WHERE " + between) +
                                 " GROUP BY mailbox ORDER BY count DESC");
  }
  found.complete = complete_;
  return found;
}

std::string statsReportText(const StatsFigures& figures, const StatsForm& asked) {
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
  report += fmt::format("\nTop {} Senders:\n", asked.limitSenderTextField);
  appendCounts(report, figures.senders);
  report += fmt::format("\nTop {} Recipients:\n", asked.limitSenderTextField);
  appendCounts(report, figures.recipients);
  report += "\n";
  if (asked.statsByMailboxCheck) {
    report += "By Mailbox:\n";
    appendCounts(report, figures.byMailbox);
    report += "\n";
  }
  return report;
}

void StatisticsReport::statisticsReport() { ui_.showPanel("statsPanel"); }

void StatisticsReport::doStatsReport() {
  progress_.doProgressPanel("Generating Database Statistics Report...");
  openDatabase_();
  statsTextView = statsReportText(figures(form), form);
  ui_.changed("statsTextView");
  progress_.close();
  ui_.showPanel("statsWindow");
}

}  // namespace keldane
