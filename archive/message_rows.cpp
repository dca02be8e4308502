#include "archive/message_rows.h"

#include <fmt/format.h>

namespace keldane {

bool deleteMessageRows(ServerSession& session, std::uint32_t id) {
  for (const char* table : {"email", "attachments", "tags", "origemail"}) {
    if (!session.query(fmt::format("DELETE FROM {} WHERE id={}", table, id))) return false;
  }
  static_cast<void>(session.query(fmt::format("DELETE FROM keldane_fingerprints WHERE id={}", id)));
  return true;
}

}  // namespace keldane
