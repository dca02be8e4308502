#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "base/spooled_text.h"
#include "platform/process_state.h"

/// The files that a run writes for its user: the run's own `.storelog`, the `.log` of files read,
/// and the two logs of the support folder. They hold private mail data: mode 0600. A log that
/// cannot be written is not a reason to stop a run; its lines are lost.
namespace keldane {

/// Where the store step writes its lines.
class StoreLog {
 public:
  virtual ~StoreLog() = default;
  virtual void write(const std::string& line) = 0;
};

/// A text file that is appended to and flushed line by line. One thread at a time.
class LogFile : public StoreLog {
 public:
  ~LogFile() override;
  LogFile() = default;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  /// Closes the file held so far.
  void openForAppend(const std::string& path);
  /// Nothing happens while no file is open.
  void write(const std::string& line) override;
  void close();
  [[nodiscard]] bool isOpen() const { return file_ != nullptr; }

 private:
  std::FILE* file_ = nullptr;
};

struct RunTotals {
  int processed = 0;
  int archived = 0;
  int duplicates = 0;
};

/// "Processed: ...", "Archived: ...", "Duplicates: ...", a line each.
[[nodiscard]] std::string runSummary(const RunTotals& totals);

/// What a `.log` tells of files that were parsed elsewhere.
struct DebugLogTotals {
  int parsed = 0;
  int invalid = 0;
  std::string invalidText;
};
/// Reads the lines "PARSED:" and "INVALID:" of the file, in pieces of at most 30000 bytes. All 0
/// when it cannot be read.
[[nodiscard]] DebugLogTotals readDebugLog(const std::string& path);

/// The summary with the invalid files, when there are any and the text is ASCII.
[[nodiscard]] std::string storeLogSummary(const RunTotals& totals, const DebugLogTotals& debugLog);

/// The two logs of the support folder.
inline constexpr const char* kRunLog = "Keldane.log";
inline constexpr const char* kDuplicatesLog = "Duplicates.log";
/// Path of a log of this name in the support folder; makes folder and file when they are missing.
std::string pathForLogFile(const ProcessState& process, const std::string& name);

/// "YYYY-MM-DD HH:MM:SS +0100", local time.
[[nodiscard]] std::string dateDefaultText(std::int64_t secondsSince1970);

/// Puts the line of this run before those of earlier ones. False when it cannot be written.
[[nodiscard]] bool rewriteRunLog(const std::string& path, const std::string& date,
                                 const RunTotals& totals);
/// Replaces the duplicates of the run before by those of this one. False when it cannot be written.
[[nodiscard]] bool rewriteDuplicatesLog(const std::string& path, const std::string& date,
                                        const SpooledText& duplicateLogText);

}  // namespace keldane
