#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace keldane {

/// The moment that a date written by people or by a mail program means, in seconds since 1970, UTC:
/// the form of mail headers, ISO 8601, "yyyy/mm/dd", month names in English before or behind the
/// day, "mm/dd/yyyy" (the day first when the month could not be one), "dd.mm.yyyy".
///
/// Missing pieces: without a zone the date is local; without a time it is noon, so that no zone
/// moves it to another day; without a year it is the year of `now`. Without a day and a month, or
/// with one that does not exist, there is no date. Reads at most the first 200 bytes.
[[nodiscard]] std::optional<std::int64_t> parseNaturalDate(std::string_view text, std::int64_t now);

}  // namespace keldane
