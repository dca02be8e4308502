#pragma once

#include "app/panels/progress_panel.h"
#include "platform/progress.h"

namespace keldane {

/// Shows every tenth step of a task in the progress panel.
class PanelProgress : public Progress {
 public:
  explicit PanelProgress(ProgressPanel& panel) : panel_(panel) {}
  void step(int count, std::string_view /*detail*/) override { panel_.doProgressCount(count, 10); }

 private:
  ProgressPanel& panel_;
};

}  // namespace keldane
