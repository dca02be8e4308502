#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/index_access.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/terminal_text.h"
#include "verify/archive_check.h"

namespace keldane {
namespace {

struct VerifyOptions {
  std::string connection;
  std::string database;
  bool repair = false;
  bool fromStart = false;
  bool json = false;
};

class CheckProgress : public Progress {
 public:
  explicit CheckProgress(TerminalInterface& terminal) : terminal_(terminal) {
    terminal_.progressStarted("Reading messages and their sources...");
  }
  ~CheckProgress() override { terminal_.progressEnded(); }
  void step(int count, std::string_view detail) override { terminal_.showCount(count, detail); }
  void stage(std::string_view title) override { terminal_.stage(title); }
  [[nodiscard]] bool cancelled() const override { return interruptCount() > 0; }

 private:
  TerminalInterface& terminal_;
};

void printFault(const ArchiveFault& fault, bool json) {
  const std::string name(faultName(fault.kind));
  if (json) {
    printJson(
        {{"id", fault.id}, {"fault", name}, {"what", fault.what}, {"mended", fault.isMended}});
    return;
  }
  const std::string line =
      fmt::format("{}: {}: {}{}\n", fault.id == 0 ? "archive" : std::to_string(fault.id), name,
                  fault.what, fault.isMended ? " (mended)" : "");
  std::fputs(terminalText(line).c_str(), stdout);
}

nlohmann::ordered_json countsJson(const std::array<std::uint64_t, kFaultKinds>& counts) {
  auto json = nlohmann::ordered_json::object();
  for (std::size_t i = 0; i < kFaultKinds; ++i) {
    if (counts[i] != 0) json[std::string(faultName(static_cast<FaultKind>(i)))] = counts[i];
  }
  return json;
}

std::string indexWords(const IndexState& index) {
  if (!index.exists) return "There is no word index; the first find makes it.\n";
  if (!index.damage.empty()) return "";
  if (index.behind == 0) return "The word index is in step.\n";
  return fmt::format("The word index is {} behind; the next find brings it in step.\n",
                     countText(static_cast<long long>(index.behind), "message"));
}

void printSummary(const CheckReport& report, const VerifyOptions& options) {
  const CheckCounts& counts = report.counts;
  if (options.json) {
    printJson({{"messages", counts.messages},
               {"exact", counts.exact},
               {"withoutSource", counts.bare},
               {"faults", counts.allFaults()},
               {"mended", counts.allMended()},
               {"byKind", countsJson(counts.faults)},
               {"fingerprintsMade", report.printsMade},
               {"index",
                {{"exists", report.index.exists},
                 {"damage", report.index.damage},
                 {"behind", report.index.behind}}},
               {"complete", !report.cancelled},
               {"goesOnFrom", report.goesOnFrom}});
    return;
  }
  std::string text =
      fmt::format("{} looked at; {} give back the very bytes that were read.\n",
                  countText(static_cast<long long>(counts.messages), "message"), counts.exact);
  if (counts.bare != 0) {
    text += fmt::format("{} kept without a source, as a rule that fires late leaves them.\n",
                        countText(static_cast<long long>(counts.bare), "message"));
  }
  if (report.printsMade != 0) {
    text += fmt::format("{} made.\n",
                        countText(static_cast<long long>(report.printsMade), "fingerprint"));
  }
  text += indexWords(report.index);
  const std::uint64_t left = counts.allFaults() - counts.allMended();
  if (counts.allFaults() == 0) {
    text += "All is whole.\n";
  } else {
    text += countText(static_cast<long long>(counts.allFaults()), "fault");
    if (options.repair) text += fmt::format(": {} mended, {} left", counts.allMended(), left);
    text += options.repair ? ".\n" : "; `keldane verify --repair` mends what the sources can.\n";
  }
  std::fputs(text.c_str(), stdout);
}

void runVerify(const VerifyOptions& options, Program& program) {
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  const Result<std::string> identity = archiveIdentity(archiver->session());
  const Result<std::unique_ptr<IndexAccess>> opened = IndexAccess::open(*archiver, program);
  if (!identity || !opened) {
    program.exitStatus =
        identity ? program.fail(opened.error()) : program.failSql(identity.error());
    return;
  }
  const std::unique_ptr<IndexAccess>& access = *opened;
  const std::string folder = supportFolder(archiver->process());
  watchInterrupts();
  Result<CheckReport> report = [&] {
    CheckProgress progress(program.terminal);
    ArchiveCheck check({.session = archiver->session(),
                        .environment = program.environment,
                        .progress = progress,
                        .index = access->index(),
                        .catchUp = access->catchUp(),
                        .markPath = checkMarkPath(folder, *identity),
                        .ledgerPath = folder + "/Ledger.log",
                        .ledgerDatabase = archiver->archiveRun().ledgerDatabase()},
                       {options.repair, options.fromStart});
    return check.run([&](const ArchiveFault& fault) { printFault(fault, options.json); });
  }();
  if (!report) {
    program.exitStatus = program.failSql(report.error());
    return;
  }
  printSummary(*report, options);
  if (report->cancelled) {
    program.exitStatus = kExitInterrupted;
    program.terminal.notice("Interrupted; the next time goes on there.");
  } else if (report->counts.allFaults() != report->counts.allMended()) {
    program.exitStatus = kExitFailed;
  }
}

}  // namespace

Command verifyCommand(Program& program) {
  auto options = std::make_shared<VerifyOptions>();
  return {.name = "verify",
          .help = "Prove that the archive is whole, message by message",
          .more =
              "Each message's bytes are restored and compared with the digest of what was read, "
              "and its rows with what its source gives. A line names each fault; the status is 1 "
              "when one is left. An interrupted check goes on where it was.",
          .options = {{"--repair", &options->repair,
                       "Mend what the sources can mend; no message is ever deleted"},
                      {"--from-start", &options->fromStart,
                       "Begin anew where an earlier check was interrupted"},
                      {"--database", &options->database, "Look in this database", "NAME"},
                      {"--connection", &options->connection, "Use this saved connection", "NAME"},
                      {"--json", &options->json,
                       "One JSON object a line for each fault, and one for the whole"}},
          .run = [options, &program] { runVerify(*options, program); }};
}

}  // namespace keldane
