#pragma once

#include "app/panels/progress_panel.h"
#include "platform/progress.h"

namespace keldane {

/// Shows every tenth step of a task in the progress panel, or every `step`-th.
class PanelProgress : public Progress {
 public:
  explicit PanelProgress(ProgressPanel& panel, int step = 10) : panel_(panel), step_(step) {}
  void step(int count, std::string_view /*detail*/) override {
    panel_.doProgressCount(count, step_);
  }

 private:
  ProgressPanel& panel_;
  const int step_;
};

}  // namespace keldane
