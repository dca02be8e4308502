#pragma once

#include <string>

#include "app/user_interface.h"

namespace keldane {

/// Whether a link of a message, which the user has clicked on, is to be opened outside: shows where
/// it leads to and asks. Only pages and addresses of people open; any other target is told and
/// stays closed. `target`: the whole address, in ASCII.
[[nodiscard]] bool mayOpenLink(const std::string& target, UserInterface& ui);

}  // namespace keldane
