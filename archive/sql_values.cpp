#include "archive/sql_values.h"

#include "base/text.h"

namespace keldane {

std::string escapeInline(std::string_view value) {
  std::string escaped(value);
  replaceAll(escaped, "\\", "\\\\");
  replaceAll(escaped, "\"", "\"\"");
  return escaped;
}

std::string unescapeInline(std::string_view value) {
  std::string plain(value);
  replaceAll(plain, "\\\\", "\\");
  replaceAll(plain, "\"\"", "\"");
  return plain;
}

std::string quotedInline(std::string_view value) {
  std::string quoted = "\"";
  quoted += escapeInline(value);
  quoted += '"';
  return quoted;
}

}  // namespace keldane
