#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

#include "base/result.h"
#include "cli/terminal_interface.h"
#include "output/export_frame.h"
#include "platform/progress.h"

namespace keldane {

class Program;

inline constexpr const char* kNoLongerThere = "the archive no longer has them";

/// Tells what has gone wrong with an output of so many messages, and sets the exit status.
/// `leavesOut`: why some may be missing in it. False when it did not come to its end.
[[nodiscard]] bool tellOutput(const Result<OutputReport>& report, std::size_t all,
                              const char* leavesOut, Program& program);

/// The progress line of what carries messages away: how many of how many, how fast, what is left.
/// Hears the user's interrupt. Begins with this and ends with it.
class OutputProgress : public Progress {
 public:
  OutputProgress(TerminalInterface& terminal, std::string_view title, std::size_t all);
  ~OutputProgress() override;
  OutputProgress(const OutputProgress&) = delete;
  OutputProgress& operator=(const OutputProgress&) = delete;

  void step(int count, std::string_view detail) override;
  [[nodiscard]] bool cancelled() const override;

 private:
  TerminalInterface& terminal_;
  const std::size_t all_;
  std::chrono::steady_clock::time_point shown_;
};

}  // namespace keldane
