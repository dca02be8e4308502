#include "archive/message_rows.h"

#include <fmt/format.h>

namespace keldane {
namespace {

bool deleteFrom(ServerSession& session, std::string_view table, std::uint32_t id) {
  return session.query(fmt::format("DELETE FROM {} WHERE id={}", table, id));
}

}  // namespace

bool deleteMessageRows(ServerSession& session, std::uint32_t id) {
  if (!deleteFrom(session, "email", id) || !deleteRowsBeside(session, id, true)) return false;
  static_cast<void>(deleteFrom(session, "keldane_fingerprints", id));
  return true;
}

bool deleteRowsBeside(ServerSession& session, std::uint32_t id, bool withTags) {
  return deleteFrom(session, "attachments", id) && (!withTags || deleteFrom(session, "tags", id)) &&
         deleteFrom(session, "origemail", id);
}

}  // namespace keldane
