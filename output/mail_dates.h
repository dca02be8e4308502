#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

/// The dates of the files that leave the archive. A stored date has no zone: it is the time of day
/// that the reader's clock showed. English names, whatever the system's language.
namespace keldane {

/// "YYYY-MM-DD HH:MM:SS" and nothing else, weekday filled in; nullopt for all that is no date.
[[nodiscard]] std::optional<std::tm> parseServerDate(std::string_view text);
/// "Mon Jan 01 00:00:00 2024", for the separator line of an mbox file.
[[nodiscard]] std::string separatorDate(const std::tm& date);
/// "Mon, 01 Jan 2024 00:00:00".
[[nodiscard]] std::string dateWithoutZone(const std::tm& date);
/// The same with the zone of this machine, for a header.
[[nodiscard]] std::string headerDate(const std::tm& date);
/// Seconds since 1970, by the zone of this machine.
[[nodiscard]] long long epochSeconds(const std::tm& date);

}  // namespace keldane
