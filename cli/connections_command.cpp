#include <algorithm>
#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

void listConnections(bool json, Program& program) {
  Connections& connections = program.controller().connections();
  const auto& list = connections.connectionList();
  std::vector<std::vector<std::string>> rows;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const ServerConnection& entry = list[i];
    const bool selected = static_cast<int>(i) == connections.selectedConnection();
    if (json) {
      printJson({{"name", entry.name},
                 {"host", entry.host},
                 {"user", entry.user},
                 {"database", entry.database},
                 {"socket", entry.socket},
                 {"port", entry.port},
                 {"selected", selected}});
    }
    rows.push_back({selected ? "*" : "", entry.name, entry.host, entry.user, entry.database,
                    entry.socket, entry.port == 0 ? "" : fmt::format("{}", entry.port)});
  }
  if (json) return;
  std::fputs(formatTable({{"", false, 0},
                          {"NAME", false, 0},
                          {"HOST", false, 0},
                          {"USER", false, 0},
                          {"DATABASE", false, 0},
                          {"SOCKET", false, 0},
                          {"PORT", true, 0}},
                         rows, 0)
                 .c_str(),
             stdout);
}

struct AddOptions {
  ConnectForm form;
  unsigned port = 0;
};

void addConnection(AddOptions options, Program& program) {
  Connections& connections = program.controller().connections();
  if (options.form.connectNameTextField == kLocalConnectionName) {
    program.exitStatus = program.fail(fmt::format(
        "\"{}\" is the name of the private server; take another name", kLocalConnectionName));
    return;
  }
  // A password on the command line would stand in the list of processes.
  options.form.passwordTextField = program.environment.variable("KELDANE_PASSWORD").value_or("");
  if (options.port != 0) options.form.portTextField = fmt::format("{}", options.port);
  connections.form = options.form;
  connections.saveConnection();
}

/// Index of the connection of this name; -1, and a message, when there is none.
int findConnection(const std::string& name, Program& program) {
  const auto names = program.controller().connections().connectionNames();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found != names.end()) return static_cast<int>(found - names.begin());
  program.exitStatus = program.fail(fmt::format("there is no connection named \"{}\"", name));
  return -1;
}

void useConnection(const std::string& name, Program& program) {
  if (name == kLocalConnectionName) program.controller().ensureConnection();
  const int row = findConnection(name, program);
  if (row < 0) return;
  Connections& connections = program.controller().connections();
  connections.selectConnection(static_cast<std::size_t>(row));
  connections.saveConnectionPrefs();
  if (const Result<void> saved = program.controller().preferences().save(); !saved) {
    program.exitStatus = program.fail(saved.error());
  }
}

void removeConnection(const std::string& name, Program& program) {
  const int row = findConnection(name, program);
  if (row < 0) return;
  Connections& connections = program.controller().connections();
  connections.selectConnection(static_cast<std::size_t>(row));
  connections.deleteConnection();
}

}  // namespace

void addConnectionsCommand(CLI::App& app, Program& program) {
  CLI::App* command = app.add_subcommand("connections", "The saved database servers");
  command->require_subcommand(1);

  auto json = std::make_shared<bool>(false);
  CLI::App* list = command->add_subcommand("list", "Show them; * marks the one in use");
  list->add_flag("--json", *json, "One JSON object a line for each connection");
  list->callback([json, &program] { listConnections(*json, program); });

  auto add = std::make_shared<AddOptions>();
  CLI::App* adding = command->add_subcommand(
      "add",
      "Add one, or change the one of this name; the password is read from the environment "
      "variable KELDANE_PASSWORD");
  adding->add_option("NAME", add->form.connectNameTextField, "Its name")->required();
  adding->add_option("--host", add->form.hostTextField, "Server (localhost when not given)");
  adding->add_option("--user", add->form.userTextField, "Login (root when not given)");
  adding->add_option("--database", add->form.dbPathTextField, "Database to open");
  adding->add_option("--socket", add->form.socketTextField, "Path of a local socket");
  adding->add_option("--port", add->port, "Port (the client's default when not given)")
      ->check(CLI::Range(1, 65535));
  adding->callback([add, &program] { addConnection(*add, program); });

  auto name = std::make_shared<std::string>();
  CLI::App* use = command->add_subcommand("use", "Use this one from now on");
  use->add_option("NAME", *name, "Its name")->required();
  use->callback([name, &program] { useConnection(*name, program); });

  CLI::App* remove = command->add_subcommand("remove", "Forget this one; its database stays");
  remove->add_option("NAME", *name, "Its name")->required();
  remove->callback([name, &program] { removeConnection(*name, program); });
}

}  // namespace keldane
