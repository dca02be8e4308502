#include "find/index_check.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <xapian.h>

#include "base/files.h"
#include "find/stored_ids.h"

namespace keldane {
namespace {

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
