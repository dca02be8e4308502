#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/program.h"
#include "ingest/ledger/ledger_reader.h"

namespace keldane {
namespace {

struct LogOptions {
  std::string file;
  std::string only;
};

/// A log of the support folder; nothing when it does not exist yet.
void printLog(const std::string& name, Program& program) {
  const std::string path = supportFolder(program.archiver().process()) + "/" + name;
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
                               ? supportFolder(program.archiver().process()) + "/Ledger.log"
                               : options.file;
  const Result<std::string> text = readLedgerLines(path, options.only);
  if (!text) {
    program.exitStatus = program.fail(text.error());
    return;
  }
  std::fputs(text->c_str(), stdout);
}

}  // namespace

Command logsCommand(Program& program) {
  auto options = std::make_shared<LogOptions>();
  return {
      .name = "logs",
      .help = "Show what earlier runs have left",
      .commands = {
          {.name = "archive",
           .help = "One line for each run, the newest first",
           .run = [&program] { printLog("Keldane.log", program); }},
          {.name = "duplicates",
           .help = "The duplicates that the last run met",
           .run = [&program] { printLog("Duplicates.log", program); }},
          {.name = "ledger",
           .help = "What became of each file and message of the last run",
           .more = "\"unreadable\" is a file or folder that could not be read, \"postponed\" one "
                   "that changed less than five seconds before, which the next run reads, and "
                   "\"open\" a message that was cut off, which the next run completes.",
           .options = {{.names = "--only",
                        .target = &options->only,
                        .help = "Only lines of this outcome",
                        .choices = {"archived", "duplicate", "excluded", "dropped", "failed",
                                    "marked-deleted", "not-mail", "unreadable", "postponed",
                                    "unchanged", "open"}},
                       {"--file", &options->file, "Another ledger than Ledger.log", "FILE"}},
           .run = [options, &program] { printLedger(*options, program); }}}};
}

}  // namespace keldane
