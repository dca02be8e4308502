#pragma once

#include <string>
#include <vector>

#include "base/result.h"
#include "query/emailrow.h"

namespace keldane {

class Archiver;

/// The ids of the list that a command has shown last, kept between two commands in a private file
/// of the support folder, together with the archive that they belong to. The views that the window
/// narrows its lists with end with their program, and those of a window that runs beside this
/// program are not ours to use.
class LastList {
 public:
  explicit LastList(Archiver& archiver);

  /// Keeps this list. A failure costs only `--within-last-list`.
  [[nodiscard]] Result<void> save(const std::vector<Emailrow>& rows);
  /// Fails when there is none, when it is of another archive, and when it is empty.
  [[nodiscard]] Result<std::vector<std::string>> read() const;

 private:
  [[nodiscard]] std::string path() const;
  [[nodiscard]] std::string archiveName() const;

  Archiver& archiver_;
};

}  // namespace keldane
