#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "ingest/sources/folder_layout.h"
#include "platform/progress.h"

namespace keldane {

/// Mail of one place.
struct MailCount {
  std::uint64_t ofMaildir = 0;  ///< messages, by the form in which they lie
  std::uint64_t ofMh = 0;
  std::uint64_t ofMbox = 0;
  std::uint64_t alone = 0;      ///< in a file of their own elsewhere
  std::uint64_t sizeBytes = 0;  ///< of files with mail
  bool isEstimate = false;

  [[nodiscard]] std::uint64_t messages() const { return ofMaildir + ofMh + ofMbox + alone; }
};

/// Counts the messages that a run would find below a folder. Of mbox files it goes through no more
/// than a number of bytes in all; from then on it looks at the beginning of each and concludes from
/// that. A pipe or a device is not opened.
class MessageCounter {
 public:
  struct Limits {
    std::uint64_t countedBytes = std::uint64_t{4} << 30U;  ///< of mbox files, in all
    std::uint64_t sampleBytes = std::uint64_t{8} << 20U;   ///< of each behind that
    std::size_t files = 3000000;                           ///< of one place
  };
  using Complaint = std::function<void(const std::string& path, const std::string& reason)>;

  MessageCounter(Progress& progress, Complaint complaint)
      : MessageCounter(progress, std::move(complaint), Limits{}) {}
  MessageCounter(Progress& progress, Complaint complaint, const Limits& limits)
      : progress_(progress), complaint_(std::move(complaint)), limits_(limits) {}

  /// Messages below the folder, or in the file. The walk ends where the user cancels it.
  [[nodiscard]] MailCount count(const std::string& path);

 private:
  void look(const std::string& path, FolderLayout& layout, MailCount& count);
  void countPieces(const std::string& path, int file, std::uint64_t sizeBytes, bool isMbox,
                   MailCount& count);

  Progress& progress_;
  Complaint complaint_;
  Limits limits_;
  std::uint64_t countedBytes_ = 0;
};

}  // namespace keldane
