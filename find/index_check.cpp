#include "find/index_check.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <vector>

#include <xapian.h>

#include "base/files.h"

namespace keldane {
namespace {

Result<std::vector<std::uint32_t>> storedIds(ServerSession& session) {
  const bool sent = session.query("SELECT id FROM email ORDER BY id");
  const auto rows = sent ? session.useResult() : nullptr;
  if (!rows) return Failure{session.error()};
  std::vector<std::uint32_t> ids;
  while (rows->next()) {
    const std::string cell(rows->cell(0).value_or("0"));
    ids.push_back(static_cast<std::uint32_t>(std::strtoul(cell.c_str(), nullptr, 10)));
  }
  // A link that is cut ends the rows as the last one does.
  if (session.errorNumber() != 0) return Failure{session.error()};
  return ids;
}

std::string damageOfFiles(const std::string& folder) {
  try {
    return Xapian::Database::check(folder) == 0 ? "" : "its files are damaged";
  } catch (const Xapian::Error& error) {
    return error.get_msg();
  }
}

}  // namespace

Result<IndexState> lookAtIndex(ServerSession& session, WordIndex& index, bool wholly) {
  IndexState state;
  state.exists = isDirectory(index.folder());
  if (!state.exists) return state;
  if (wholly) state.damage = damageOfFiles(index.folder());
  if (state.damage.empty() && index.open() == WordIndex::State::unusable) {
    state.damage = index.trouble();
  }
  if (state.damage.empty()) {
    const Result<std::vector<std::uint32_t>> indexed = index.ids();
    if (!indexed) state.damage = indexed.error();
    const auto stored = indexed ? storedIds(session) : std::vector<std::uint32_t>();
    if (!stored) return Failure{stored.error()};
    std::vector<std::uint32_t> apart;
    if (indexed) {
      std::set_symmetric_difference(stored->begin(), stored->end(), indexed->begin(),
                                    indexed->end(), std::back_inserter(apart));
    }
    state.behind = apart.size();
  }
  index.close();
  return state;
}

}  // namespace keldane
