#include "cli/terminal_text.h"

#include <cstdlib>

#include "base/shown_text.h"
#include "base/text.h"

namespace keldane {

namespace {

bool isDumb() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && std::string_view(terminal) == "dumb";
}

}  // namespace

bool terminalIsPlain() {
  if (isDumb()) return true;
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string_view locale(value);
    const bool namesCharset = locale.find('.') != std::string_view::npos;
    const bool isUtf8 = findNoCase(locale, "utf-8") || findNoCase(locale, "utf8");
    return locale == "C" || locale == "POSIX" || (namesCharset && !isUtf8);
  }
  return false;
}

std::string plainText(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) plain += c;
    if (byte >= 0xC0) plain += '?';  // the others go on with a character
  }
  return plain;
}

std::string terminalText(std::string_view text, bool plain) {
  return plain ? plainText(shownText(text)) : shownText(text);
}

bool terminalTakesEscapes() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && !isDumb();
}

}  // namespace keldane
