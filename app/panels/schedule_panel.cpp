#include "app/panels/schedule_panel.h"

#include <algorithm>

#include "app/panels/fault_alerts.h"

namespace keldane {

void SchedulePanel::schedule() {
  settingsPanel_.takeControls();
  const Faults faults = archiver_.schedule().schedule();
  settingsPanel_.showPrefs();
  settingsPanel_.refresh();
  settingsPanel_.saved();
  showFaults(faults, archiver_.process(), ui_);
  const bool failed = std::any_of(faults.begin(), faults.end(), [](const Fault& fault) {
    return fault.about == Fault::About::schedule;
  });
  if (!failed) ui_.alert({"Archive Scheduled", "A Keldane archive has been scheduled."});
}

void SchedulePanel::removeSchedule() {
  const Faults faults = archiver_.schedule().removeSchedule();
  showFaults(faults, archiver_.process(), ui_);
  if (faults.empty()) {
    ui_.alert({"Schedule Removed", "The Keldane archive schedule has been removed."});
  }
}

void SchedulePanel::changeSchedAll() {
  auto& checks = settingsPanel_.form.schedChecks;
  for (bool& day : checks) day = checks[0];
  ui_.changed("scheduleView");
}

void SchedulePanel::changeSchedDays() {
  settingsPanel_.form.schedChecks[0] = false;
  ui_.changed("scheduleView");
}

}  // namespace keldane
