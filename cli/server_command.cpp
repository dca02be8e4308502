#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"

namespace keldane {
namespace {

void printStatus(const LocalServer::Status& status, bool json) {
  if (json) {
    printJson({{"running", status.running},
               {"processId", status.processId},
               {"socket", status.socket},
               {"dataFolder", status.dataFolder},
               {"program", status.program}});
    return;
  }
  if (!status.running) {
    std::fputs("The private server is not running.\n", stdout);
    return;
  }
  std::fputs(fmt::format("The private server is running.\nProcess: {}\nSocket:  {}\nData:    {}\n"
                         "Program: {}\n",
                         status.processId, status.socket, status.dataFolder, status.program)
                 .c_str(),
             stdout);
}

}  // namespace

void addServerCommand(CLI::App& app, Program& program) {
  CLI::App* command =
      app.add_subcommand("server", "The private database server of this user, \"This Computer\"");
  command->require_subcommand(1);

  command->add_subcommand("start", "Start it when it is not running")->callback([&program] {
    const Result<LocalServer::Status> started = program.controller().localServer().start();
    if (!started) {
      program.exitStatus = program.fail(started.error());
      return;
    }
    printStatus(*started, false);
  });
  command->add_subcommand("stop", "Stop it at once")->callback([&program] {
    if (const Result<void> stopped = program.controller().localServer().stop(); !stopped) {
      program.exitStatus = program.fail(stopped.error());
    }
  });
  auto json = std::make_shared<bool>(false);
  CLI::App* status = command->add_subcommand("status", "Show whether it runs, and where");
  status->add_flag("--json", *json, "Print one JSON object");
  status->callback(
      [json, &program] { printStatus(program.controller().localServer().status(), *json); });
}

}  // namespace keldane
