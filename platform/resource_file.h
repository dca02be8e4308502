#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// Path of a file that comes with the program: beside the program in a bundle, below the installed
/// share folder, or in the sources of a build that is not installed; empty when it is in none.
/// `program` is the path of the running program, such as argument 0.
[[nodiscard]] std::string resourceFile(std::string_view program, std::string_view name);

}  // namespace keldane
