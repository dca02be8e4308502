#pragma once

#include <string>
#include <string_view>

/// The three ways a value enters a statement, and no others: quoted inline, bound, dump text.
namespace keldane {

/// A copy fit to stand between double quotes: `\` as `\\`, then `"` as `""`. Relies on the
/// session's empty sql_mode.
[[nodiscard]] std::string escapeInline(std::string_view value);
/// The reverse, in the same order; it is exact only for texts that were escaped.
[[nodiscard]] std::string unescapeInline(std::string_view value);
/// The value escaped and between double quotes.
[[nodiscard]] std::string quotedInline(std::string_view value);

/// Stands in a statement where a bound parameter goes.
inline constexpr char kBoundParameter = '?';

}  // namespace keldane
