#include "cli/terminal_text.h"

#include <cstdlib>

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

bool terminalTakesEscapes() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace keldane
