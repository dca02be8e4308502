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

void startServer(Program& program) {
  const Result<LocalServer::Status> started = program.archiver().localServer().start();
  if (!started) {
    program.exitStatus = program.fail(started.error());
    return;
  }
  printStatus(*started, false);
}

void stopServer(Program& program) {
  if (const Result<void> stopped = program.archiver().localServer().stop(); !stopped) {
    program.exitStatus = program.fail(stopped.error());
  }
}

}  // namespace

Command serverCommand(Program& program) {
  auto json = std::make_shared<bool>(false);
  return {
      .name = "server",
      .help = "The private database server of this user, \"This Computer\"",
      .more = "It starts when it is needed and ends ten minutes after its last use.",
      .commands = {
          {.name = "start",
           .help = "Start it when it is not running",
           .run = [&program] { startServer(program); }},
          {.name = "stop", .help = "Stop it at once", .run = [&program] { stopServer(program); }},
          {.name = "status",
           .help = "Show whether it runs, and where",
           .options = {{"--json", json.get(), "Print one JSON object"}},
           .run = [json, &program] {
             printStatus(program.archiver().localServer().status(), *json);
           }}}};
}

}  // namespace keldane
