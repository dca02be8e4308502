#include "query/statistics.h"

#include <cstdio>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kCountWidth = 9;

struct StatsRange {
  std::string begin;
  std::string end;
  bool full = false;
};

StatsRange statsRange(const DateMenus& dates) {
  const auto chosen = [](const std::string& title, const char* otherwise) {
    return title == "All" ? std::string(otherwise) : title;
  };
  const std::string endMonth = chosen(dates.endMo, "12");
  const bool thirty =
      endMonth == "04" || endMonth == "06" || endMonth == "09" || endMonth == "11";
  const char* lastDay = endMonth == "02" ? "28" : thirty ? "30" : "31";
  StatsRange range;
  range.begin = fmt::format("{}-{}-{} 00:00:00", chosen(dates.beginYr, "1901"),
                            chosen(dates.beginMo, "01"), chosen(dates.beginDa, "01"));
  range.end = fmt::format("{}-{}-{} 00:00:00", chosen(dates.endYr, "2050"), endMonth,
                          chosen(dates.endDa, lastDay));
  range.full = range.begin == "1901-01-01 00:00:00" && range.end == "2050-12-31 00:00:00";
  return range;
}

void appendCounts(std::string& report,
                  const std::vector<std::pair<std::string, std::string>>& counts) {
  for (const auto& [name, count] : counts) {
    std::string padded = groupedNumber(leadingInt(count));
    if (padded.size() < kCountWidth) padded.resize(kCountWidth, ' ');
    report += fmt::format("\t{}\t{}\n", padded, name);
  }
}

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

std::string StatisticsReport::firstCell(const std::string& sql, bool& worked) {
  worked = session_.query(sql);
  if (worked) return fetchFirstCell(session_);
  std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
  return "0";
}

std::string StatisticsReport::dayOf(const std::string& sql) {
  bool worked = false;
  const std::string date = firstCell(sql, worked);
  const std::size_t colon = date.find(':');
  return colon == std::string::npos || colon < 3 ? "" : date.substr(0, colon - 3);
}

int StatisticsReport::countRows(const std::string& sql) {
  if (!session_.query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return 0;
  }
  const auto rows = session_.storeResult();
  return rows ? static_cast<int>(rows->rowCount()) : 0;
}

StatisticsReport::Counts StatisticsReport::readCounts(const std::string& sql) {
  Counts counts;
  if (!session_.query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return counts;
  }
  const auto rows = session_.storeResult();
  while (rows && rows->next()) {
    const auto name = rows->cell(0);
    const auto count = rows->cell(1);
    if (!name || !count || !isValidUtf8(*name) || !isValidUtf8(*count)) continue;
    counts.emplace_back(*name, *count);
  }
  return counts;
}

void StatisticsReport::appendYears(std::string& report, const std::string& first,
                                   const std::string& last) {
  if (first.empty() || last.empty()) return;
  for (int year = leadingInt(first.substr(0, 4)); year <= leadingInt(last.substr(0, 4)); ++year) {
    bool worked = false;
    const int count = leadingInt(firstCell(
        fmt::format("SELECT COUNT(id) FROM email WHERE date_fld LIKE '{}%'", year), worked));
    if (count != 0) report += fmt::format("\t{}:  {}\n", year, groupedNumber(count));
  }
}

std::string StatisticsReport::doStatsReport(const StatsForm& form) {
  const StatsRange range = statsRange(form.dates);
  const std::string where =
      range.full ? " WHERE date_fld > \"1901-01-01 00:00:00\""
                 : fmt::format(" WHERE date_fld >= \"{}\" AND date_fld <= \"{}\"", range.begin,
                               range.end);
  // For statements that have a condition of their own; the full range adds none to them.
  const std::string andRange =
      range.full ? ""
                 : fmt::format(" AND date_fld >= \"{}\" AND date_fld <= \"{}\"", range.begin,
                               range.end);
  bool worked = false;
  const std::string first = dayOf("SELECT min(date_fld) FROM email" + where);
  const std::string last = dayOf("SELECT max(date_fld) FROM email" + where);
  const std::string total = firstCell("SELECT count(id) FROM email" + where, worked);
  const int mailboxes = countRows("SELECT DISTINCT mailbox FROM email" + where);
  const Counts senders =
      readCounts("SELECT from_fld, COUNT(*) AS count FROM email" + where +
                 " GROUP BY from_fld ORDER BY count DESC LIMIT " + form.limitSenderTextField);
  const Counts recipients =
      readCounts("SELECT to_fld, COUNT(*) AS count FROM email" + where +
                 " GROUP BY to_fld ORDER BY count DESC LIMIT " + form.limitSenderTextField);
  const std::string attached =
      firstCell("SELECT COUNT(id) FROM email WHERE numAttach>0" + andRange, worked);
  std::string tagged = "0";
  if (worked) {
    tagged = firstCell(
        "SELECT COUNT(tags.id) FROM tags,email WHERE tags.id=email.id" + andRange, worked);
  }

  const auto number = [](const std::string& text) { return groupedNumber(leadingInt(text)); };
  std::string report = fmt::format("\nFrom {} thru {}\n\n", first, last);
  report += fmt::format("Total Number of emails in date range: {}\n\n", number(total));
  report += fmt::format("Number of emails with attachments:    {}\n\n", number(attached));
  report += fmt::format("Number of emails with tags:           {}\n\n", number(tagged));
  report += fmt::format("Number of mailboxes:                  {}\n\n", groupedNumber(mailboxes));
  report += "By Year:\n";
  appendYears(report, first, last);
  report += fmt::format("\nTop {} Senders:\n", form.limitSenderTextField);
  appendCounts(report, senders);
  report += fmt::format("\nTop {} Recipients:\n", form.limitSenderTextField);
  appendCounts(report, recipients);
  report += "\n";
  if (form.statsByMailboxCheck) {
    std::string only = andRange;
    if (!only.empty()) only.replace(1, 3, "WHERE");
    report += "By Mailbox:\n";
    appendCounts(report, readCounts("SELECT mailbox, COUNT(*) AS count FROM email" + only +
                                    " GROUP BY mailbox ORDER BY count DESC"));
    report += "\n";
  }
  return report;
}

}  // namespace keldane
