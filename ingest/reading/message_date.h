#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace keldane {

/// Limits of a run on the message's date: "YYYY-MM-DD 00:00:00", compared as text. Messages of the
/// last day itself, being later than its midnight, lie outside.
struct RunRange {
  std::string rangeStartText = "1901-01-01 00:00:00";
  std::string rangeEndText = "2050-12-31 00:00:00";
};

/// What a message tells about its date.
struct DateSources {
  /// The date that the e-mail object has for it, in seconds since 1970: the present moment when it
  /// could not read one.
  std::optional<std::int64_t> sent;
  bool hasSender = false;
  /// Fields of the header, by name.
  std::function<std::optional<std::string>(std::string_view name)> header;
};

/// Reasons for which a message is dropped, as the ledger has them.
namespace drop {
inline constexpr std::string_view kFutureWithoutSender = "dated in the future without a sender";
inline constexpr std::string_view kNotAMessage = "not a mail message (no sender, no date)";
inline constexpr std::string_view kOutsideRange = "outside the date range";
inline constexpr std::string_view kNoDate = "no date";
}  // namespace drop

/// Settles the date under which a message is stored, local time, or a text that could not be read
/// as a date. Answers the reason when the message is to be dropped, otherwise nothing.
[[nodiscard]] std::optional<std::string_view> chooseMessageDate(const DateSources& sources,
                                                                const RunRange& range,
                                                                std::int64_t now,
                                                                std::string& msgDate);

}  // namespace keldane
