#include "find/stored_ids.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace keldane {

Result<std::vector<std::uint32_t>> storedIds(ServerSession& session) {
  // Not in order: for that the server would go through the rows themselves, with all their text,
  // where the smallest index does.
  const bool sent = session.query("SELECT id FROM email");
  const auto rows = sent ? session.useResult() : nullptr;
  if (!rows) return Failure{session.error()};
  std::vector<std::uint32_t> ids;
  while (rows->next()) {
    const std::string cell(rows->cell(0).value_or("0"));
    ids.push_back(static_cast<std::uint32_t>(std::strtoul(cell.c_str(), nullptr, 10)));
  }
  // A link that is cut ends the rows as the last one does.
  if (session.errorNumber() != 0) return Failure{session.error()};
  std::sort(ids.begin(), ids.end());
  return ids;
}

}  // namespace keldane
