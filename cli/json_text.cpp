#include "cli/json_text.h"

#include <cstdio>

#include <unistd.h>

namespace keldane {

std::string jsonLine(const nlohmann::ordered_json& value) {
  const bool asciiOnly = ::isatty(STDOUT_FILENO) != 0;
  return value.dump(-1, ' ', asciiOnly, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string isoDate(std::string date) {
  constexpr std::size_t kBlank = 10;
  if (date.size() == 19 && date[kBlank] == ' ') date[kBlank] = 'T';
  return date;
}

void printJson(const nlohmann::ordered_json& value) { std::fputs(jsonLine(value).c_str(), stdout); }

}  // namespace keldane
