#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ingest/dry_run.h"

namespace keldane {

class Program;

/// "PATH", or "PATH, byte N" for a message within a file of many.
[[nodiscard]] std::string placeText(const DryOutcome& outcome);
/// Its file and offset, subject and date, as far as they are known.
[[nodiscard]] nlohmann::ordered_json placeJson(const DryOutcome& outcome);

/// Prints what a dry run tells: a line for each outcome when they are asked for or few, and the
/// sums.
class DryRunReport {
 public:
  DryRunReport(bool json, bool list, Program& program)
      : json_(json), list_(list), program_(program) {}

  void take(const DryOutcome& outcome);
  /// Prints the sums; the exit status of the program.
  [[nodiscard]] int finish(const RunReport& report);

 private:
  void printSums(const RunReport& report) const;

  bool json_;
  bool list_;
  Program& program_;
  std::size_t taken_ = 0;
  std::vector<std::string> lines_;  ///< held back until it is known that they are few
};

}  // namespace keldane
