#include "desktop/schedule_view.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QDateTime>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimeEdit>

#include "app/keldane_controller.h"
#include "desktop/qt_text.h"
#include "desktop/settings_dialog.h"

namespace keldane {
namespace {

const QString kTimeForm = QStringLiteral("yyyy-MM-dd HH:mm:ss");
/// Shown where no time has been chosen, and no choice until the schedule is set.
const QTime kProposedTime(12, 0);

std::string today(QTime time) {
  return plainText(QDateTime(QDate::currentDate(), time).toString(kTimeForm));
}

/// Takes digits wherever a click, an arrow or "select all" has left the cursor. Qt's own takes them
/// only for a selected hour or minute, and refuses what would make the text longer.
class TimeField : public QTimeEdit {
 public:
  using QTimeEdit::QTimeEdit;

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    const QLineEdit& line = *lineEdit();
    const bool isWhole = line.text().size() == displayFormat().size();
    const bool all = line.selectedText() == line.text();
    const QString typed = event->text();
    if (isWhole && !typed.isEmpty() && typed[0].isDigit() && (all || !line.hasSelectedText())) {
      setSelectedSection(!all && currentSection() == MinuteSection ? MinuteSection : HourSection);
    }
    QTimeEdit::keyPressEvent(event);
  }
};

}  // namespace

ScheduleView::ScheduleView(KeldaneController& controller, SettingsDialog& settings)
    : QWidget(&settings), controller_(controller), settings_(settings) {
  setObjectName("scheduleView");
  auto* about = new QLabel(tr("At these times the chosen accounts are archived, without a window. "
                              "Settings that you change later hold for the next time too; times "
                              "only once they are scheduled again."),
                           this);
  about->setWordWrap(true);
  auto* column = new QVBoxLayout(this);
  column->addWidget(about);
  column->addWidget(makeDays());
  column->addWidget(makeTimes());
  auto* log = new QCheckBox(tr("Leave the log of such a run on the desktop"), this);
  form_.bind(*log, "leaveLogCheck", controller_.settingsPanel().form.leaveLogCheck);
  column->addWidget(log);
  column->addStretch();
  column->addLayout(makeButtons());
  settings.addView(
      this, tr("Schedule"), [this] { form_.show(); }, [this] { form_.take(); });
}

QWidget* ScheduleView::makeDays() {
  struct Day {
    const char* name;
    QString words;
  };
  const Day days[] = {{"schedAll", tr("Every day")}, {"schedSun", tr("Sunday")},
                      {"schedMon", tr("Monday")},    {"schedTue", tr("Tuesday")},
                      {"schedWed", tr("Wednesday")}, {"schedThu", tr("Thursday")},
                      {"schedFri", tr("Friday")},    {"schedSat", tr("Saturday")}};
  auto* part = new QWidget(this);
  auto* grid = new QGridLayout(part);
  grid->setContentsMargins(0, 0, 0, 0);
  SettingsForm& values = controller_.settingsPanel().form;
  for (int i = 0; i < 8; ++i) {
    auto* box = new QCheckBox(days[i].words, part);
    form_.bind(*box, days[i].name, values.schedChecks[static_cast<std::size_t>(i)]);
    grid->addWidget(box, i % 4, i / 4);
    connect(box, &QCheckBox::clicked, this, [this, i] {
      settings_.takeForm();
      SchedulePanel& panel = controller_.schedulePanel();
      i == 0 ? panel.changeSchedAll() : panel.changeSchedDays();
    });
  }
  return part;
}

QWidget* ScheduleView::makeTimes() {
  SettingsForm& values = controller_.settingsPanel().form;
  auto* part = new QWidget(this);
  auto* at = new QLabel(tr("At:"), part);
  auto* time = new TimeField(part);
  nameControl(*time, "schedTime");
  time->setDisplayFormat("HH:mm");
  at->setBuddy(time);
  auto* hourly = new QCheckBox(tr("Again within the day, each time after so many hours:"), part);
  form_.bind(*hourly, "everyHourCheck", values.everyHourCheck);
  auto* hours = new QSpinBox(part);
  nameControl(*hours, "hoursStepper", tr("Hours between two times"));
  hours->setRange(1, 23);
  // Such a schedule begins at midnight.
  const auto enable = [time, hours](bool again) {
    time->setEnabled(!again);
    hours->setEnabled(again);
  };
  connect(hourly, &QCheckBox::toggled, this, enable);
  enable(hourly->isChecked());
  form_.bind(
      [time, hours, &values] {
        const QDateTime chosen = QDateTime::fromString(qtText(values.schedTime), kTimeForm);
        time->setTime(chosen.isValid() ? chosen.time() : kProposedTime);
        hours->setValue(qtText(values.hoursTextField).toInt());
      },
      [time, hours, &values] {
        const QDateTime before = QDateTime::fromString(qtText(values.schedTime), kTimeForm);
        const QTime shown = before.isValid() ? before.time() : kProposedTime;
        if (time->time() != shown) values.schedTime = today(time->time());
        values.hoursTextField = values.hoursStepper = std::to_string(hours->value());
      });
  auto* grid = new QGridLayout(part);
  grid->setContentsMargins(0, 0, 0, 0);
  auto* atRow = new QHBoxLayout;
  atRow->addWidget(at);
  atRow->addWidget(time);
  atRow->addStretch();
  grid->addLayout(atRow, 0, 0, 1, 3);
  grid->addWidget(hourly, 1, 0, 1, 2);
  grid->addWidget(hours, 1, 2, Qt::AlignLeft);
  grid->setColumnStretch(2, 1);
  return part;
}

QLayout* ScheduleView::makeButtons() {
  auto* remove = new QPushButton(tr("Remove Schedule"), this);
  auto* set = new QPushButton(tr("Schedule"), this);
  nameControl(*remove, "removeScheduleButton");
  nameControl(*set, "scheduleButton");
  for (QPushButton* button : {remove, set}) button->setAutoDefault(false);
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(remove);
  row->addWidget(set);
  connect(remove, &QPushButton::clicked, this, [this] {
    settings_.takeForm();
    controller_.schedulePanel().removeSchedule();
  });
  connect(set, &QPushButton::clicked, this, [this] {
    settings_.takeForm();
    std::string& time = controller_.settingsPanel().form.schedTime;
    if (time.empty()) time = today(kProposedTime);
    controller_.schedulePanel().schedule();
  });
  return row;
}

}  // namespace keldane
