#include "mime/headers/email_address.h"

#include "mime/buffers/byte_search.h"

namespace keldane::mime {

namespace {

bool needsQuotes(std::string_view name) {
  return name.find_first_of(" ()<>@,;:\\\".[]") != std::string_view::npos;
}

bool needsNoQuotesToBeKept(std::string_view name) {
  return !isAllAscii(name) || name.find_first_of("\t\r\n") != std::string_view::npos;
}

}  // namespace

void _tnEmailAddress::emitSelfAsMimeField(std::string& out) const {
  const std::string_view name = name_.utf8View();
  const std::string_view address = address_.utf8View();
  if (name.empty()) {
    out.append(address);
    return;
  }
  if (!needsNoQuotesToBeKept(name) && needsQuotes(name)) {
    out.append("\"").append(name).append("\"");
  } else {
    out.append(name);
  }
  out.append(" <").append(address).append(">");
}

}  // namespace keldane::mime
