#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// A message's HTML, with whatever stands above it, as a page to be opened by a browser: it says
/// first that it is UTF-8, and then that nothing in it is run or fetched from elsewhere. The
/// message's own META elements, which could say otherwise or lead to another page, are elements
/// without a meaning there; the rest stands as it came.
[[nodiscard]] std::string standalonePage(std::string_view html);

}  // namespace keldane
