#pragma once

#include <cstddef>
#include <string_view>

namespace keldane {

/// Where the line begins with which a mail program introduces the message replied to; npos when
/// there is none that is known. The three introductions are tried in order, and the first whose
/// opening words are in the text decides alone. Linear in the text.
[[nodiscard]] std::size_t findQuotedReply(std::string_view text);

}  // namespace keldane
