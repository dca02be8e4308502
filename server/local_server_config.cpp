#include "server/local_server_config.h"

#include <algorithm>

#include <fmt/format.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
constexpr std::uint64_t kLeastPoolBytes = 64 * kMebibyte;
/// The indexes of two million messages. Taken as the archive grows, and given back with the end
/// of the server.
constexpr std::uint64_t kMostPoolBytes = 8192 * kMebibyte;
constexpr std::uint64_t kMemoryShare = 4;
/// For the words of new messages: the server's own value. While a run goes on, the thread that
/// writes them out goes through all that is there again and again until it is full, so that with
/// more of it the thread never rests.
constexpr std::uint64_t kWordCacheBytes = 8000000;
/// How often the server looks for clients: ten times in the time that it waits for one, but no more
/// often than its clock of events allows and no more seldom than this: a run may fill the smallest
/// log in as many seconds.
constexpr int kLooks = 10;
constexpr int kLongestLookSeconds = 5;
constexpr std::size_t kSocketNameBytes = sizeof(sockaddr_un::sun_path);

/// FNV-1a, 64 bits: names a folder in a few characters, alike in every program.
std::uint64_t fingerprint(std::string_view text) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (const char byte : text) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= 1099511628211ULL;
  }
  return hash;
}

std::string socketFor(const std::string& folder) {
  std::string socket = folder + "/server.sock";
  if (socket.size() < kSocketNameBytes) return socket;
  // Not the temporary folder of the environment: a program started by the scheduler may have
  // another one than the user's desktop, and both must find the same socket.
  return fmt::format("/tmp/keldane-{}-{:016x}/server.sock", ::geteuid(), fingerprint(folder));
}

/// Together with the words a quarter of the memory, on a machine that has any to speak of.
std::uint64_t poolBytes(std::uint64_t memoryBytes) {
  const std::uint64_t share = memoryBytes / kMemoryShare;
  return std::clamp(share - std::min(share, kWordCacheBytes), kLeastPoolBytes, kMostPoolBytes);
}

/// Bytes of data to one of redo log.
constexpr std::uint64_t kDataToLog = 2;

/// Settings of both makes. Those that a version may not know begin with "loose_".
constexpr std::string_view kCommonSettings = R"(skip_networking
skip_name_resolve
event_scheduler = ON
local_infile = 0
performance_schema = OFF

# Every character has its place, whatever the client says of itself.
character_set_server = utf8mb4
loose_character_set_client_handshake = OFF
sql_mode =

# Messages of any size. The log is written at each statement and flushed once a second.
max_allowed_packet = 1G
innodb_flush_log_at_trx_commit = 2
innodb_file_per_table = ON
innodb_autoextend_increment = 8

# One purges behind one user; four take the processors from the run whose leavings they clear up.
innodb_purge_threads = 1

# Words of two letters count, and words that are common in English may be looked for.
innodb_ft_min_token_size = 2
innodb_ft_enable_stopword = OFF

# One user with a few programs.
max_connections = 40
table_open_cache = 400
key_buffer_size = 1M
wait_timeout = 31536000
interactive_timeout = 31536000
)";

/// old_mode: with its default "utf8" is the character set of three bytes that has no place for
/// emoji.
constexpr std::string_view kMariadbSettings = R"(loose_old_mode =
aria_pagecache_buffer_size = 8M
)";

constexpr std::string_view kMysqlSettings = R"(disable_log_bin
loose_mysqlx = OFF
)";

/// Run within each look. The age is what the log holds of changes that are in no data file yet.
std::string growLogText() {
  return fmt::format(
      "IF @@GLOBAL.innodb_log_file_size < {0} AND (SELECT VARIABLE_VALUE FROM "
      "information_schema.GLOBAL_STATUS WHERE VARIABLE_NAME = 'INNODB_CHECKPOINT_AGE') * 3 > "
      "@@GLOBAL.innodb_log_file_size THEN "
      "SET GLOBAL innodb_log_file_size = LEAST({0}, 4 * @@GLOBAL.innodb_log_file_size); END IF; ",
      kMostLogBytes / 4096 * 4096);
}

}  // namespace

LocalServerPaths localServerPaths(const std::string& folder) {
  LocalServerPaths paths;
  paths.folder = folder;
  paths.data = folder + "/data";
  paths.config = folder + "/server.cnf";
  paths.log = folder + "/server.log";
  paths.socket = socketFor(folder);
  paths.lock = folder + "/server.lock";
  paths.scratch = folder + "/scratch";
  paths.files = folder + "/files";
  return paths;
}

std::string configValue(std::string_view value) {
  std::string text(value);
  replaceAll(text, "\\", "\\\\");
  replaceAll(text, "\n", "\\n");
  replaceAll(text, "\r", "\\r");
  return "\"" + text + "\"";
}

std::uint64_t logBytesFor(std::uint64_t dataBytes, bool canGrow) {
  if (!canGrow) return kMostLogBytes;
  const std::uint64_t share = dataBytes / kDataToLog / kMebibyte * kMebibyte;
  return std::clamp(share, kLeastLogBytes, kMostLogBytes);
}

std::string localServerConfig(const LocalServerPaths& paths, const ServerNeeds& needs,
                              const std::vector<std::string>& extraLines) {
  std::string text = "# Written at each start of the private server; changes made here are lost.\n";
  text += "[mysqld]\n";
  text += fmt::format("datadir = {}\n", configValue(paths.data));
  text += fmt::format("socket = {}\n", configValue(paths.socket));
  text += fmt::format("log_error = {}\n", configValue(paths.log));
  text += fmt::format("pid_file = {}\n", configValue(paths.folder + "/server.pid"));
  text += fmt::format("tmpdir = {}\n", configValue(paths.scratch));
  // A statement made of a message's text must not be able to read the user's files.
  text += fmt::format("secure_file_priv = {}\n", configValue(paths.files));
  text += fmt::format("innodb_buffer_pool_size = {}\n", poolBytes(needs.memoryBytes));
  text += fmt::format("innodb_ft_cache_size = {}\n", kWordCacheBytes);
  text += kCommonSettings;
  const bool mariadb = needs.make == ServerMake::mariadb;
  text += fmt::format("loose_innodb_{} = {}\n", mariadb ? "log_file_size" : "redo_log_capacity",
                      needs.logBytes);
  text += mariadb ? kMariadbSettings : kMysqlSettings;
  for (const std::string& line : extraLines) text += line + "\n";
  return text;
}

std::vector<std::string> watchStatements(int idleSeconds, bool growsLog) {
  const int look = std::clamp(idleSeconds / kLooks, 1, kLongestLookSeconds);
  const int looks = std::max(1, idleSeconds / look);
  // Each look is a thread of the server with the next number. When the last look's number is not
  // the one before, a client has been there in between, if only for a moment.
  return {
      "DROP EVENT IF EXISTS mysql.keldane_idle_end",
      "DROP TABLE IF EXISTS mysql.keldane_idle_look",
      "CREATE TABLE mysql.keldane_idle_look (thread BIGINT UNSIGNED NOT NULL, idle INT NOT NULL) "
      "ENGINE=MEMORY",
      fmt::format(
          "CREATE EVENT mysql.keldane_idle_end ON SCHEDULE EVERY {} SECOND DO BEGIN "
          "DECLARE CONTINUE HANDLER FOR SQLEXCEPTION BEGIN END; "
          "{}"
          "IF EXISTS (SELECT 1 FROM information_schema.PROCESSLIST "
          "WHERE ID <> CONNECTION_ID() AND COMMAND <> 'Daemon') "
          "OR NOT EXISTS (SELECT 1 FROM mysql.keldane_idle_look "
          "WHERE thread + 1 = CONNECTION_ID()) THEN "
          "DELETE FROM mysql.keldane_idle_look; "
          "INSERT INTO mysql.keldane_idle_look VALUES (CONNECTION_ID(), 0); "
          "ELSE "
          "UPDATE mysql.keldane_idle_look SET thread = CONNECTION_ID(), idle = idle + 1; "
          "IF EXISTS (SELECT 1 FROM mysql.keldane_idle_look WHERE idle >= {}) THEN SHUTDOWN; "
          "END IF; END IF; END",
          look, growsLog ? growLogText() : std::string(), looks),
  };
}

std::vector<std::string> loginStatements() {
  const std::string login = std::string(kLocalUser) + "@localhost";
  return {
      "CREATE USER IF NOT EXISTS " + login,
      "GRANT ALL PRIVILEGES ON *.* TO " + login,
      "REVOKE SUPER ON *.* FROM " + login,
  };
}

}  // namespace keldane
