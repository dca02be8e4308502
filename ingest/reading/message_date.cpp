#include "ingest/reading/message_date.h"

#include <algorithm>

#include "ingest/reading/natural_date.h"
#include "platform/environment.h"

namespace keldane {
namespace {

/// A date nearer to now than this is the engine's stand-in for one that it could not read.
constexpr std::int64_t kStandInSeconds = 5;

/// What follows the date's seconds in the form in which servers stamp a message: " +0100".
constexpr std::size_t kZoneLength = 6;

bool isOutside(const std::string& msgDate, const RunRange& range) {
  return msgDate < range.rangeStartText || msgDate > range.rangeEndText;
}

/// The date in the stamp of the server that got the message last; empty when there is none.
std::string receivedDate(const DateSources& sources) {
  const std::optional<std::string> stamp = sources.header("received");
  if (!stamp) return {};
  const std::size_t mark = stamp->find("; ");
  if (mark == std::string::npos) return {};
  const std::string_view date = std::string_view(*stamp).substr(mark + 2);
  return std::string(date.substr(0, date.size() - std::min(date.size(), kZoneLength)));
}

}  // namespace

std::optional<std::string_view> chooseMessageDate(const DateSources& sources, const RunRange& range,
                                                  std::int64_t now, std::string& msgDate) {
  msgDate.clear();
  if (sources.sent && *sources.sent <= now - kStandInSeconds) {
    msgDate = localDateTime(*sources.sent);
  } else if (sources.sent) {
    const std::optional<std::string> date = sources.header("Date");
    if (!sources.hasSender) return date ? drop::kFutureWithoutSender : drop::kNotAMessage;
    msgDate = date.value_or("");
    if (const auto moment = parseNaturalDate(msgDate, now)) msgDate = localDateTime(*moment);
  }
  if (!isOutside(msgDate, range)) return std::nullopt;
  if (!msgDate.empty()) return drop::kOutsideRange;
  // The stamp's text is not made into a date: it passes only limits that any text passes, so that a
  // run with a range takes in no message whose day is not known.
  msgDate = receivedDate(sources);
  if (msgDate.empty()) return drop::kNoDate;
  return isOutside(msgDate, range) ? std::optional(drop::kOutsideRange) : std::nullopt;
}

}  // namespace keldane
