#include "query/emailrow.h"

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

int emailIDComparison(const Emailrow& a, const Emailrow& b) {
  return compareNumbers(a.emailID, b.emailID);
}

int emailAtchComparison(const Emailrow& a, const Emailrow& b) {
  return compareNumbers(a.emailAtch, b.emailAtch);
}

int emailDateComparison(const Emailrow& a, const Emailrow& b, int dateFormat) {
  return reorderDate(a.emailDate, dateFormat).compare(reorderDate(b.emailDate, dateFormat));
}

int emailFromComparison(const Emailrow& a, const Emailrow& b) {
  return compareNoCase(a.emailFrom, b.emailFrom);
}

int emailToComparison(const Emailrow& a, const Emailrow& b) {
  return compareNoCase(a.emailTo, b.emailTo);
}

int emailSubjectComparison(const Emailrow& a, const Emailrow& b) {
  return compareNoCase(a.emailSubject, b.emailSubject);
}

int emailMailboxComparison(const Emailrow& a, const Emailrow& b) {
  return compareNoCase(a.emailMailbox, b.emailMailbox);
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
