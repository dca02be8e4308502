#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/program.h"
#include "ingest/ledger/ledger_view.h"

namespace keldane {
namespace {

struct LogOptions {
  std::string file;
  std::string only;
};

/// A log of the support folder; nothing when it does not exist yet.
void printLog(const std::string& name, Program& program) {
  const std::string path = supportFolder(program.controller().process()) + "/" + name;
  if (!fileExists(path)) return;
  const Result<std::string> text = readFile(path);
  if (!text) {
    program.exitStatus = program.fail(text.error());
    return;
  }
  for (const std::string& line : split(*text, "\n")) {
    std::fputs((printable(toUtf8(line)) + "\n").c_str(), stdout);
  }
}

void printLedger(const LogOptions& options, Program& program) {
  const std::string path = options.file.empty()
                               ? supportFolder(program.controller().process()) + "/Ledger.log"
                               : options.file;
  const Result<std::string> text = readLedgerLines(path, options.only);
  if (!text) {
    program.exitStatus = program.fail(text.error());
    return;
  }
  std::fputs(text->c_str(), stdout);
}

}  // namespace

void addLogsCommand(CLI::App& app, Program& program) {
  CLI::App* command = app.add_subcommand("logs", "Show what earlier runs have left");
  command->require_subcommand(1);
  command->add_subcommand("archive", "One line for each run, the newest first")
      ->callback([&program] { printLog("Keldane.log", program); });
  command->add_subcommand("duplicates", "The duplicates that the last run met")
      ->callback([&program] { printLog("Duplicates.log", program); });
  auto options = std::make_shared<LogOptions>();
  CLI::App* ledger =
      command->add_subcommand("ledger", "What became of each file and message of the last run");
  ledger->add_option("--only", options->only, "Only lines of this outcome")
      ->check(CLI::IsMember({"archived", "duplicate", "excluded", "dropped", "failed", "not-mail",
                             "unreadable", "postponed", "open"}));
  ledger->add_option("--file", options->file, "Another ledger than Ledger.log");
  ledger->callback([options, &program] { printLedger(*options, program); });
}

}  // namespace keldane
