#include "cli/terminal_text.h"

#include <cstdio>

#include <unistd.h>

#include "base/text.h"

namespace keldane {

std::string terminalText(std::string_view text) {
  std::string shown;
  shown.reserve(text.size() + text.size() / 16);
  while (!text.empty()) {
    const std::size_t end = text.find_first_of("\n\t");
    std::string_view piece = text.substr(0, end);
    if (end != std::string_view::npos && text[end] == '\n' && piece.ends_with('\r')) {
      piece.remove_suffix(1);
    }
    shown += printable(piece);
    if (end == std::string_view::npos) break;
    shown += text[end];
    text.remove_prefix(end + 1);
  }
  return shown;
}

void printJson(const nlohmann::ordered_json& value) {
  const bool asciiOnly = ::isatty(STDOUT_FILENO) != 0;
  const std::string line =
      value.dump(-1, ' ', asciiOnly, nlohmann::ordered_json::error_handler_t::replace);
  std::puts(line.c_str());
}

}  // namespace keldane
