#pragma once

#include "app/panels/settings_panel.h"
#include "app/user_interface.h"

namespace keldane {

/// The schedule's view of the settings window.
class SchedulePanel {
 public:
  SchedulePanel(Archiver& archiver, SettingsPanel& settings, UserInterface& ui)
      : archiver_(archiver), settingsPanel_(settings), ui_(ui) {}

  /// Saves the settings and schedules by them.
  void schedule();
  void removeSchedule();
  /// The actions of the box for all days, and of those for one.
  void changeSchedAll();
  void changeSchedDays();

 private:
  Archiver& archiver_;
  SettingsPanel& settingsPanel_;
  UserInterface& ui_;
};

}  // namespace keldane
