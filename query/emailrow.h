#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "archive/server_session.h"

namespace keldane {

/// How the list writes its dates.
struct DateStyle {
  int dateFormat = 0;  ///< 0 year first, 1 month first, 2 day first
  int separator = 0;   ///< 0 "-", 1 "/", 2 "."
};

/// One row of the result list.
struct Emailrow {
  std::uint32_t emailID = 0;
  std::int32_t emailAtch = 0;
  std::string emailDate;  ///< in the list's date style; ends in "*" when the message has tags
  std::string emailFrom;
  std::string emailTo;
  std::string emailSubject;
  std::string emailMailbox;
};

/// Whether the row's message has tags, and its date without the mark of that.
[[nodiscard]] bool isTagged(const Emailrow& row);
[[nodiscard]] std::string plainDate(const Emailrow& row);

/// A row of the columns of `selectListColumns`; the date is as the server gave it. What is not
/// UTF-8 is read as ISO Latin 1.
[[nodiscard]] Emailrow readListRow(const ResultRows& rows);
inline constexpr std::size_t kListFromColumn = 2;

/// Comparisons of columns that are no texts: negative, 0 or positive.
[[nodiscard]] int emailIDComparison(const Emailrow& a, const Emailrow& b);
[[nodiscard]] int emailAtchComparison(const Emailrow& a, const Emailrow& b);
[[nodiscard]] int emailDateComparison(const Emailrow& a, const Emailrow& b, int dateFormat);

/// The server's "YYYY-MM-DD HH:MM:SS" in the list's style.
[[nodiscard]] std::string formatListDate(const std::string& serverDate, const DateStyle& style);
/// A list date as a text that sorts by time. With the default format the text stands as it is, star
/// included, so that a tagged row sorts behind an untagged one of the same second.
[[nodiscard]] std::string reorderDate(const std::string& listDate, int dateFormat);

}  // namespace keldane
