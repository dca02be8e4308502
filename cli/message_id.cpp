#include "cli/message_id.h"

#include <cstdlib>
#include <limits>
#include <unordered_set>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/program.h"
#include "cli/standard_input.h"

namespace keldane {
namespace {

constexpr std::string_view kJsonStart = "{\"id\":";

/// 0 for what is none.
std::uint32_t idOf(const std::string& text) {
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  const unsigned long long number = digits ? std::strtoull(text.c_str(), nullptr, 10) : 0;
  return number > std::numeric_limits<std::uint32_t>::max() ? 0
                                                            : static_cast<std::uint32_t>(number);
}

std::string refusal(const std::string& text) {
  return fmt::format("\"{}\" is not the id of a message", printable(text));
}

/// The part of a line that holds its ids.
std::string idCell(const std::string& line) {
  if (line.starts_with(kJsonStart)) {
    const std::size_t end = line.find_first_not_of("0123456789", kJsonStart.size());
    return line.substr(kJsonStart.size(), end - kJsonStart.size());
  }
  return std::string(trimWhitespace(line.substr(0, line.find('\t'))));
}

}  // namespace

CommandOption idArgument(std::vector<std::string>& given) {
  return {.names = "ID",
          .target = &given,
          .help =
              "Id of a message, as lists show it; - takes ids, or such a list, from standard "
              "input",
          .check =
              [](const std::string& text) {
                return text == "-" || idOf(text) != 0 ? std::string() : refusal(text);
              },
          .required = true};
}

Result<std::vector<std::uint32_t>> idsOfText(const std::string& text) {
  std::vector<std::uint32_t> ids;
  std::size_t number = 0;
  for (const std::string& line : split(text, "\n")) {
    const std::string cell = idCell(line);
    const bool isTitle = number++ == 0 && compareNoCase(cell, "id") == 0;
    if (isTitle) continue;
    for (const std::string& word : split(cell, " ")) {
      if (word.empty()) continue;
      ids.push_back(idOf(word));
      if (ids.back() == 0) {
        return Failure{fmt::format("standard input, line {}: {}", number, refusal(word))};
      }
    }
  }
  return ids;
}

std::optional<std::vector<std::uint32_t>> messageIds(const std::vector<std::string>& given,
                                                     Program& program) {
  std::vector<std::uint32_t> ids;
  std::unordered_set<std::uint32_t> seen;
  for (const std::string& text : given) {
    const Result<std::vector<std::uint32_t>> read =
        text == "-" ? idsOfText(readStandardInput()) : std::vector<std::uint32_t>{idOf(text)};
    if (!read) {
      (void)program.fail(read.error());
      program.exitStatus = kExitUsage;
      return std::nullopt;
    }
    for (const std::uint32_t id : *read) {
      if (seen.insert(id).second) ids.push_back(id);
    }
  }
  return ids;
}

}  // namespace keldane
