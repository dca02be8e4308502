#pragma once

#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
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

/// The same for a task that the user may end. The window goes on drawing meanwhile.
class EndablePanelProgress : public PanelProgress {
 public:
  EndablePanelProgress(ProgressPanel& panel, UserInterface& ui, int step = 10)
      : PanelProgress(panel, step), ui_(ui) {}
  void step(int count, std::string_view detail) override {
    PanelProgress::step(count, detail);
    static_cast<void>(cancelled());
  }
  void stage(std::string_view title) override { ui_.progressStarted(title); }
  [[nodiscard]] bool cancelled() const override {
    cancelled_ = !ui_.goesOn() || cancelled_;
    return cancelled_;
  }

 private:
  UserInterface& ui_;
  mutable bool cancelled_ = false;  ///< once and for all, whatever stage follows
};

}  // namespace keldane
