#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "app/sql_values.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"

namespace keldane {
namespace {

std::string oneValue(ServerSession& session, const std::string& sql) {
  return session.query(sql) ? fetchFirstCell(session) : "0";
}

void runStatus(bool json, Program& program) {
  KeldaneController* controller = program.connected();
  if (controller == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  ServerSession& session = controller->session();
  const ServerConnection& connection = controller->connections().current();
  const std::string database = controller->database().dbPath;
  const std::string server = oneValue(session, "SELECT VERSION()");
  const std::string messages = oneValue(session, "SELECT count(id) FROM email");
  const std::string newest = oneValue(session, "SELECT MAX(date_fld) FROM email");
  const std::string bytes =
      oneValue(session,
               "SELECT CAST(COALESCE(SUM(data_length+index_length),0) AS UNSIGNED) FROM "
               "information_schema.tables WHERE table_schema=" +
                   quotedInline(database));
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

void addStatusCommand(CLI::App& app, Program& program) {
  auto json = std::make_shared<bool>(false);
  CLI::App* command =
      app.add_subcommand("status", "Show server, database, number of messages and size");
  command->add_flag("--json", *json, "Print one JSON object");
  command->callback([json, &program] { runStatus(*json, program); });
}

}  // namespace keldane
