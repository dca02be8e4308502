#include "query/emailrow.h"

#include <cstdlib>
#include <string_view>

#include "base/text.h"

namespace keldane {
namespace {

template <typename T>
int compareNumbers(T a, T b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

std::string piece(const std::string& text, std::size_t from, std::size_t count) {
  return from < text.size() ? text.substr(from, count) : std::string();
}

}  // namespace

bool isTagged(const Emailrow& row) { return row.emailDate.ends_with("*"); }

std::string plainDate(const Emailrow& row) {
  std::string date = row.emailDate;
  removeAll(date, "*");
  return date;
}

int emailIDComparison(const Emailrow& a, const Emailrow& b) {
  return compareNumbers(a.emailID, b.emailID);
}

int emailAtchComparison(const Emailrow& a, const Emailrow& b) {
  return compareNumbers(a.emailAtch, b.emailAtch);
}

int emailDateComparison(const Emailrow& a, const Emailrow& b, int dateFormat) {
  return reorderDate(a.emailDate, dateFormat).compare(reorderDate(b.emailDate, dateFormat));
}

Emailrow readListRow(const ResultRows& rows) {
  const auto text = [&rows](std::size_t column) {
    return toUtf8(rows.cell(column).value_or(std::string_view()));
  };
  Emailrow row;
  row.emailID = static_cast<std::uint32_t>(std::strtoul(text(0).c_str(), nullptr, 10));
  row.emailDate = text(1);
  row.emailFrom = text(kListFromColumn);
  row.emailTo = text(3);
  row.emailSubject = text(4);
  row.emailMailbox = text(5);
  row.emailAtch = leadingInt(text(6));
  return row;
}

std::string formatListDate(const std::string& serverDate, const DateStyle& style) {
  const char* separator = style.separator == 1 ? "/" : style.separator == 2 ? "." : "-";
  std::string date = serverDate;
  if (style.dateFormat == 0) {
    if (style.separator != 0) replaceAll(date, "-", separator);
    return date;
  }
  if (date.size() < 19 || style.dateFormat < 0 || style.dateFormat > 2) return date;
  const std::string year = date.substr(0, 4);
  const std::string month = date.substr(5, 2);
  const std::string day = date.substr(8, 2);
  const std::string time = date.substr(10, 9);
  if (style.dateFormat == 2) return day + separator + month + separator + year + time;
  return month + separator + day + separator + year + time;
}

std::string reorderDate(const std::string& listDate, int dateFormat) {
  if (dateFormat == 0) return listDate;
  std::string date = listDate;
  removeAll(date, "*");
  const std::string time = piece(date, 10, 9);
  if (date.size() > 10) date.erase(10, 9);
  switch (dateFormat) {
    case 2:
      return piece(date, 6, std::string::npos) + "-" + piece(date, 3, 2) + "-" + piece(date, 0, 2) +
             time;
    case 1:
      return piece(date, 6, std::string::npos) + "-" + piece(date, 0, 2) + "-" + piece(date, 3, 2) +
             time;
    default:
      return piece(date, 0, 4) + "-" + piece(date, 5, 2) + "-" + piece(date, 8, std::string::npos) +
             time;
  }
}

}  // namespace keldane
