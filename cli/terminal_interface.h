#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "archive/fault.h"
#include "platform/queued_progress.h"

namespace keldane {

/// "1,234 of 6,046 files, 20 %, about 3 min left": how far a run has come in so many seconds. A
/// single file shows its messages. No guess is made before there is something to go by.
[[nodiscard]] std::string readingLine(const ReadingProgress& progress, double seconds);

/// "1,200 of 6,046 messages, 410/s, about 12 s left".
[[nodiscard]] std::string shareLine(std::size_t count, std::size_t all, double seconds);

/// What the terminal program says on standard error: faults as one sentence in the terminal's own
/// words, and the progress line, which is drawn there when it is a terminal.
class TerminalInterface : public QueuedProgress {
 public:
  explicit TerminalInterface(MainQueue& mainQueue);

  /// A task begins, or is over. Main thread only, as all that follows.
  void progressStarted(std::string_view title);
  void progressEnded();
  void stage(std::string_view title) override;
  void showCount(int count, std::string_view detail) override;
  /// So many messages of all that there are.
  void showShare(std::size_t count, std::size_t all);

  /// What could not be done, as one sentence in the terminal's own words.
  void tell(const Fault& fault);
  /// A line on standard error, in place of the progress line.
  void notice(std::string_view line) override;

  /// Tells whether the user has interrupted the program: a failure to connect is then no news.
  bool (*isInterrupted)() = nullptr;
  /// No progress line, whatever standard error is.
  bool quiet = false;

 private:
  void showReading(const ReadingProgress& progress, std::string_view detail) override;
  void clearLine();
  void showLine(const std::string& line);

  const bool canShowProgress_;
  bool lineShown_ = false;
  bool readingShown_ = false;  ///< the line tells of a run's reading, which the count would cover
  std::chrono::steady_clock::time_point started_;
};

}  // namespace keldane
