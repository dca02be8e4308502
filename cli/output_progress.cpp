#include "cli/output_progress.h"

#include <fmt/format.h>

#include "base/text.h"
#include "cli/program.h"

namespace keldane {
namespace {

/// Not more often than somebody can read it.
constexpr std::chrono::milliseconds kBetweenLines{100};

}  // namespace

bool tellOutput(const Result<OutputReport>& report, std::size_t all, const char* leavesOut,
                Program& program) {
  program.exitStatus = kExitFailed;
  if (!report) {
    (void)program.fail(printable(report.error()));
    return false;
  }
  if (report->cancelled) {
    (void)program.fail(report->isFolder
                           ? fmt::format("ended before the last message; {} of {} are written",
                                         report->messages, all)
                           : "ended before the last message; no file was written");
    program.exitStatus = kExitInterrupted;
    return false;
  }
  program.exitStatus = kExitDone;
  if (const std::size_t missing = all - report->messages; missing != 0) {
    program.exitStatus =
        program.fail(fmt::format("{} of {} messages are not in it: {}", missing, all, leavesOut));
  }
  if (report->missedSources != 0) {
    program.exitStatus =
        program.fail(fmt::format("{} of {} messages are in it without their source, which the "
                                 "server did not give",
                                 report->missedSources, all));
  }
  return true;
}

OutputProgress::OutputProgress(TerminalInterface& terminal, std::string_view title, std::size_t all)
    : terminal_(terminal), all_(all), shown_(std::chrono::steady_clock::now()) {
  watchInterrupts();
  terminal_.progressStarted(title);
}

OutputProgress::~OutputProgress() { terminal_.progressEnded(); }

void OutputProgress::step(int count, std::string_view /*detail*/) {
  const auto now = std::chrono::steady_clock::now();
  if (now - shown_ < kBetweenLines) return;
  shown_ = now;
  terminal_.showShare(static_cast<std::size_t>(count), all_);
}

bool OutputProgress::cancelled() const { return interruptCount() > 0; }

}  // namespace keldane
