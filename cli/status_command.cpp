#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"

namespace keldane {
namespace {

std::string oneValue(ServerSession& session, const std::string& sql) {
  return session.query(sql) ? fetchFirstCell(session) : "0";
}

/// Bytes that the archive takes on the server's disk; "0" when the server does not tell.
std::string sizeOf(ServerSession& session, const std::string& database) {
  const std::string quoted = quotedInline(database);
  // The files as they are now, for a login that may see them: one name of MariaDB, one of MySQL 8.
  for (const char* table : {"innodb_sys_tablespaces", "innodb_tablespaces"}) {
    const std::string size =
        oneValue(session, fmt::format("SELECT CAST(COALESCE(SUM(file_size),0) AS UNSIGNED) FROM "
                                      "information_schema.{} WHERE SUBSTRING_INDEX(name,'/',1)={}",
                                      table, quoted));
    if (size != "0") return size;
  }
  // What the server thinks of its tables may be older than the last run until it is told to look.
  for (const char* statement :
       {"SET SESSION information_schema_stats_expiry=0",
        "ANALYZE NO_WRITE_TO_BINLOG TABLE email,attachments,origemail,tags"}) {
    if (session.query(statement)) static_cast<void>(session.storeResult());
  }
  return oneValue(session,
                  "SELECT CAST(COALESCE(SUM(data_length+index_length),0) AS UNSIGNED) FROM "
                  "information_schema.tables WHERE table_schema=" +
                      quoted);
}

void runStatus(bool json, Program& program) {
  Archiver* archiver = program.connected();
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  ServerSession& session = archiver->session();
  const ServerConnection& connection = archiver->connections().current();
  const std::string database = archiver->database().dbPath;
  const std::string server = oneValue(session, "SELECT VERSION()");
  const std::string messages = oneValue(session, "SELECT count(id) FROM email");
  const std::string newest = oneValue(session, "SELECT MAX(date_fld) FROM email");
  const std::string bytes = sizeOf(session, database);
  if (json) {
    printJson({{"connection", connection.name},
               {"host", connection.host},
               {"socket", connection.socket},
               {"server", server},
               {"database", database},
               {"messages", std::strtoull(messages.c_str(), nullptr, 10)},
               {"newest", newest == "0" ? "" : newest},
               {"bytes", std::strtoull(bytes.c_str(), nullptr, 10)}});
    return;
  }
  std::fputs(fmt::format("Connection: {}\nServer:     {}\nDatabase:   {}\nMessages:   {}\n"
                         "Newest:     {}\nSize:       {:.1f} MB\n",
                         connection.name, server, database, messages,
                         newest == "0" ? "none" : newest, leadingDouble(bytes) / 1e6)
                 .c_str(),
             stdout);
}

}  // namespace

Command statusCommand(Program& program) {
  auto json = std::make_shared<bool>(false);
  return {.name = "status",
          .help = "Show server, database, number of messages and size",
          .options = {{"--json", json.get(), "Print one JSON object"}},
          .run = [json, &program] { runStatus(*json, program); }};
}

}  // namespace keldane
