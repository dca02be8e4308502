#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace keldane {

/// Adds an option for a day, a month or a year. What is none of them is wrong usage.
CLI::Option* addDayOption(CLI::App& command, const std::string& name, std::string& day,
                          const std::string& help);

}  // namespace keldane
