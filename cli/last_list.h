#pragma once

#include <string>
#include <vector>

#include "base/result.h"

namespace keldane {

class KeldaneController;

/// The ids of the list that a command has shown last, kept between two commands in a private file
/// of the support folder, together with the archive that they belong to. The views that the window
/// narrows its lists with end with their program, and those of a window that runs beside this
/// program are not ours to use.
class LastList {
 public:
  explicit LastList(KeldaneController& controller);

  /// Keeps the controller's present list. A failure costs only `--within-last-list`.
  [[nodiscard]] Result<void> save();
  /// Fails when there is none, when it is of another archive, and when it is empty.
  [[nodiscard]] Result<std::vector<std::string>> read() const;

 private:
  [[nodiscard]] std::string path() const;
  [[nodiscard]] std::string archiveName() const;

  KeldaneController& controller_;
};

/// The beginning of a statement that selects from `listView1`, so that it finds exactly these
/// messages there although no such view is on the server. Every server knows the form.
[[nodiscard]] std::string withinList(std::string beginSql, const std::vector<std::string>& ids);

}  // namespace keldane
