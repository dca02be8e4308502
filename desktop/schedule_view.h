#pragma once

#include "desktop/form_binding.h"

#include <QCoreApplication>
#include <QWidget>

namespace keldane {

class KeldaneController;
class SettingsDialog;

/// `scheduleView`: the days and hours at which the program archives by itself. A tab of the
/// settings.
class ScheduleView : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(ScheduleView)

 public:
  ScheduleView(KeldaneController& controller, SettingsDialog& settings);

 private:
  QWidget* makeDays();
  QWidget* makeTimes();
  QLayout* makeButtons();

  KeldaneController& controller_;
  SettingsDialog& settings_;
  FormBinding form_;
};

}  // namespace keldane
