#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "app/panels/archive_panel.h"
#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
#include "ingest/sources/mail_finder.h"
#include "platform/environment.h"
#include "platform/process_state.h"

namespace keldane {

/// A place with mail, and whether it is to be archived.
struct FoundMailRow {
  FoundMail mail;
  bool chosen = false;
};

/// What mail lies on this machine, for a user who begins: finds it, lets him choose, archives it.
/// Main thread.
class FoundMailPanel {
 public:
  struct Context {
    const ProcessState& process;
    const Environment& environment;
    ArchivePanel& archive;
    ProgressPanel& progress;
    UserInterface& ui;
    std::function<void()> openFiles;  ///< what lies elsewhere
  };

  explicit FoundMailPanel(Context context) : context_(std::move(context)) {}

  /// Looks for mail and shows the panel; all that can be archived is chosen.
  void findMail();
  void choose(std::size_t row, bool on);
  [[nodiscard]] bool isAnyChosen() const;
  /// Archives what is chosen.
  void archive();
  /// Leaves the panel for the chooser of files.
  void openOther();

  std::vector<FoundMailRow> rows;

 private:
  Context context_;
};

}  // namespace keldane
