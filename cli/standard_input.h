#pragma once

#include <memory>
#include <string>

#include "base/result.h"

namespace keldane {

/// All that standard input holds, which may be much.
[[nodiscard]] std::string readStandardInput();

/// Standard input as a file that a run can take in: private, in this folder, and gone with this
/// object. It is called "standard input", which the ledger and the mailbox names of an mbox then
/// say. One at a time for each folder.
class StandardInputFile {
 public:
  /// Reads to the end of standard input; an mbox is known by its first line. Fails when there is
  /// nothing, when another program is at it, and when the folder takes no file.
  [[nodiscard]] static Result<std::unique_ptr<StandardInputFile>> receive(
      const std::string& folder);
  ~StandardInputFile();
  StandardInputFile(const StandardInputFile&) = delete;
  StandardInputFile& operator=(const StandardInputFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  StandardInputFile(std::string path, int file) : path_(std::move(path)), file_(file) {}
  [[nodiscard]] Result<void> fill(const std::string& beginning);

  std::string path_;
  int file_;  ///< locked while this lives
};

}  // namespace keldane
