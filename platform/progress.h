#pragma once

#include <cstddef>
#include <string_view>

namespace keldane {

/// How far an archive run has come in reading.
struct ReadingProgress {
  std::size_t files = 0;
  std::size_t allFiles = 0;
  long messages = 0;
  double share = 0;  ///< of the files, 0 to 1; a file of many messages counts by how far it is read
};

/// How a long task tells how far it has come, and asks whether it is to go on. Called from the
/// thread that does the work; whoever shows it sees to the way to the main thread. Nothing throws.
class Progress {
 public:
  virtual ~Progress() = default;

  /// So many are done. `detail` is what is at hand, such as date and subject of a message; may be
  /// empty.
  virtual void step(int /*count*/, std::string_view /*detail*/) {}
  /// The same of an archive run, for each message and file; whoever shows it chooses how often.
  virtual void reading(const ReadingProgress& /*progress*/, std::string_view /*detail*/) {}
  /// What is being done now, where no steps can be told: "Indexing..."; empty: it is done.
  virtual void stage(std::string_view /*title*/) {}
  /// A sentence that the user should see and that stops nothing. Main thread.
  virtual void notice(std::string_view /*line*/) {}
  /// The user wants the task to end at the next place where it can.
  [[nodiscard]] virtual bool cancelled() const { return false; }
};

}  // namespace keldane
