#include "find/server_position.h"

#include <cstdlib>
#include <ctime>
#include <memory>

namespace keldane {
namespace {

/// The makes of server have names of their own for it.
constexpr const char* kAskPosition =
    "SHOW GLOBAL STATUS WHERE Variable_name IN "
    "('Innodb_lsn_current','Innodb_redo_log_current_lsn','Uptime')";
constexpr const char* kCountLogged =
    "SELECT COUNT(*) FROM information_schema.tables WHERE table_schema=DATABASE() AND "
    "table_name IN ('email','origemail','tags') AND engine='InnoDB'";
/// Both clocks count whole seconds, and the answer takes a moment.
constexpr std::int64_t kClockSeconds = 2;

}  // namespace

std::string ServerPosition::note() const { return log + " " + std::to_string(startedAt); }

bool ServerPosition::isNoted(const std::string& note) const {
  if (!note.starts_with(log + " ")) return false;
  const std::int64_t apart = startedAt - std::strtoll(note.c_str() + log.size() + 1, nullptr, 10);
  return std::abs(apart) <= kClockSeconds;
}

std::optional<ServerPosition> readServerPosition(ServerSession& session) {
  if (!session.query(kAskPosition)) return std::nullopt;
  const std::unique_ptr<ResultRows> rows = session.storeResult();
  ServerPosition position;
  std::string seconds;
  while (rows && rows->next()) {
    std::string& into = rows->cell(0) == "Uptime" ? seconds : position.log;
    into = rows->cell(1).value_or("");
  }
  if (position.log.empty() || seconds.empty()) return std::nullopt;
  position.startedAt = std::time(nullptr) - std::strtoll(seconds.c_str(), nullptr, 10);
  return position;
}

bool areTablesLogged(ServerSession& session) {
  return session.query(kCountLogged) && fetchFirstCell(session) == "3";
}

}  // namespace keldane
