#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/program.h"
#include "cli/question.h"
#include "find/index_catch_up.h"
#include "output/checked_backup.h"

namespace keldane {
namespace {

struct BackupOptions {
  std::string path;
  bool checks = false;
  std::string database;
  std::string connection;
};

struct RestoreOptions {
  std::string path;
  std::string into;
  bool yes = false;
  bool dryRun = false;
  std::string connection;
};

/// Draws what is being done and how many megabytes have gone by, and hears the user's interrupt.
class BackupProgress : public Progress {
 public:
  explicit BackupProgress(TerminalInterface& terminal) : terminal_(terminal) {}
  ~BackupProgress() override { terminal_.progressEnded(); }
  void stage(std::string_view title) override {
    title_ = title;
    terminal_.stage(title_);
  }
  void step(int count, std::string_view /*detail*/) override {
    terminal_.stage(fmt::format("{} {} MB", title_, count));
  }
  [[nodiscard]] bool cancelled() const override { return interruptCount() > 0; }

 private:
  TerminalInterface& terminal_;
  std::string title_;
};

ToolContext toolContext(Archiver& archiver, Program& program, Progress& progress) {
  return {program.tools, archiver.connections().address(""), program.environment.temporaryFolder(),
          progress};
}

std::string contents(const BackupSummary& summary) {
  const auto email = std::find_if(summary.tables.begin(), summary.tables.end(),
                                  [](const TableState& table) { return table.name == "email"; });
  const std::string tables = countText(static_cast<long long>(summary.tables.size()), "table");
  if (email == summary.tables.end()) return tables;
  return fmt::format("{} in {}", countText(static_cast<long long>(email->rows), "message"), tables);
}

/// Tells why there is no result.
void failWith(const std::string& error, Program& program) {
  if (interruptCount() > 0) {
    (void)program.fail("interrupted; nothing was written");
    program.exitStatus = kExitInterrupted;
    return;
  }
  (void)program.fail(printable(error));
  program.exitStatus = kExitFailed;
}

void checkIt(const std::string& path, Program& program) {
  Result<BackupSummary> checked = [&] {
    BackupProgress progress(program.terminal);
    return checkBackup(program.tools, program.environment, progress, path);
  }();
  if (!checked) {
    failWith(checked.error(), program);
    return;
  }
  program.exitStatus = kExitDone;
  fmt::print("{} can be had back: {}, read into a server of its own and compared.\n",
             printable(path), contents(*checked));
}

bool writeIt(const BackupOptions& options, Program& program) {
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return false;
  const std::string database = archiver->database().dbPath;
  Result<BackupSummary> written = [&] {
    BackupProgress progress(program.terminal);
    return writeBackup(toolContext(*archiver, program, progress), archiver->session(), database,
                       options.path);
  }();
  if (!written) {
    failWith(written.error(), program);
    return false;
  }
  program.exitStatus = kExitDone;
  std::fputs(
      fmt::format("\"{}\" is backed up: {}.\n", printable(database), contents(*written)).c_str(),
      options.path == "-" ? stderr : stdout);
  return true;
}

void runBackup(const BackupOptions& options, Program& program) {
  if (options.checks && options.path == "-") {
    (void)program.fail("--check wants a file");
    program.exitStatus = kExitUsage;
    return;
  }
  watchInterrupts();
  const bool isThere = options.checks && fileExists(options.path);
  if (!isThere && !writeIt(options, program)) return;
  if (options.checks) checkIt(options.path, program);
}

/// The words of an archive that was there under this name before are not this one's.
void forgetWords(Archiver& archiver, const std::string& database) {
  if (!archiver.session().selectDatabase(database)) return;
  const Result<std::string> identity = archiveIdentity(archiver.session());
  std::error_code ignored;
  if (!identity) return;
  std::filesystem::remove_all(indexFolder(supportFolder(archiver.process()), *identity), ignored);
}

bool mayRestore(const RestoreOptions& options, Archiver& archiver, Program& program) {
  if (options.yes) return true;
  const std::string& connection = archiver.connections().current().name;
  if (asksAndHearsYes(fmt::format("Restore {} into the database \"{}\" of \"{}\"?",
                                  printable(options.path), archiver.database().dbPath,
                                  printable(connection)))) {
    return true;
  }
  std::fputs("Nothing is restored.\n", stdout);
  program.exitStatus = kExitDone;
  return false;
}

void runRestore(const RestoreOptions& options, Program& program) {
  if (!options.yes && !options.dryRun && !canAsk()) {
    (void)program.fail(
        "restore wants --yes where nobody can be asked; --dry-run shows what it would restore");
    program.exitStatus = kExitUsage;
    return;
  }
  watchInterrupts();
  if (options.dryRun) {
    BackupProgress progress(program.terminal);
    const Result<BackupSummary> verified = verifyBackup(options.path, progress);
    program.terminal.progressEnded();
    if (!verified) return failWith(verified.error(), program);
    fmt::print("{} is whole: {}.\n", printable(options.path), contents(*verified));
    return;
  }
  program.exitStatus = kExitFailed;
  // Asked of the file before a server is: nothing is begun with one that is damaged.
  if (!fileExists(options.path)) {
    (void)program.fail(fmt::format("there is no file {}", printable(options.path)));
    return;
  }
  Archiver* archiver = program.connected(options.connection, options.into, Opening::ifThere);
  if (archiver == nullptr || !mayRestore(options, *archiver, program)) return;
  const std::string database = archiver->database().dbPath;
  Result<BackupSummary> restored = [&] {
    BackupProgress progress(program.terminal);
    return restoreBackup(toolContext(*archiver, program, progress), archiver->session(),
                         options.path, database);
  }();
  if (!restored) return failWith(restored.error(), program);
  forgetWords(*archiver, database);
  program.exitStatus = kExitDone;
  fmt::print("\"{}\" is restored: {}, each compared with the backup.\n", database,
             contents(*restored));
}

}  // namespace

Command backupCommand(Program& program) {
  auto options = std::make_shared<BackupOptions>();
  return {
      .name = "backup",
      .help = "Write the whole archive into one file, with a checksum of every table",
      .more =
          "A name that ends in .zst is compressed; \"-\" stands for standard output. The file "
          "stands under its name only when it is whole, and `restore` reads it.",
      .options = {{.names = "FILE",
                   .target = &options->path,
                   .help = "Where to",
                   .value = "FILE",
                   .required = true},
                  {"--check", &options->checks,
                   "Prove it: read the file into a private server of its own in a temporary folder "
                   "and compare every table. A file that is there already is left as it is and "
                   "only proved"},
                  {"--database", &options->database, "Use this database", "NAME"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"}},
      .run = [options, &program] { runBackup(*options, program); }};
}

Command restoreCommand(Program& program) {
  auto options = std::make_shared<RestoreOptions>();
  return {
      .name = "restore",
      .help = "Read a backup into an empty database, and compare every table",
      .more =
          "A file that is cut off or altered is refused before anything is written, and the "
          "tables come to stand in the database only when all of them are whole.",
      .options = {{.names = "FILE",
                   .target = &options->path,
                   .help = "A file that `backup` has written",
                   .value = "FILE",
                   .required = true},
                  {"--into", &options->into,
                   "The database, which is made when it is missing (the one in use when not given)",
                   "NAME"},
                  {"--yes", &options->yes, "Restore without asking"},
                  {"--dry-run", &options->dryRun,
                   "Only read the file through, and show what it holds"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"}},
      .run = [options, &program] { runRestore(*options, program); }};
}

}  // namespace keldane
