#include "desktop/progress_window.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include "desktop/form_binding.h"

namespace keldane {
namespace {

constexpr std::chrono::milliseconds kAppearsAfter{300};
constexpr std::chrono::milliseconds kBetweenShows{50};
constexpr std::chrono::milliseconds kLeftOverAfter{500};
constexpr double kLeastShare = 0.01;  ///< before that much is done, the rest cannot be guessed
constexpr double kLeastSeconds = 2;
constexpr int kBarSteps = 1000;
constexpr int kWidth = 460;

QString timeText(double seconds) {
  if (seconds < 60) return ProgressWindow::tr("%1 s").arg(std::ceil(seconds));
  if (seconds < 5400) return ProgressWindow::tr("%1 min").arg(std::round(seconds / 60));
  return ProgressWindow::tr("%1 h").arg(seconds / 3600, 0, 'f', 1);
}

}  // namespace

QString readingText(const ReadingProgress& progress, double seconds) {
  const QLocale locale;
  const auto number = [&locale](auto value) {
    return locale.toString(static_cast<qlonglong>(value));
  };
  QString text = ProgressWindow::tr("%1 messages").arg(number(progress.messages));
  if (progress.allFiles > 1) {
    text =
        ProgressWindow::tr("%1 of %2 files").arg(number(progress.files), number(progress.allFiles));
  }
  if (seconds >= kLeastSeconds) {
    const double perSecond = static_cast<double>(progress.messages) / seconds;
    text += ProgressWindow::tr(", %1 messages a second").arg(number(std::lround(perSecond)));
  }
  if (progress.share >= kLeastShare && progress.share < 1 && seconds >= kLeastSeconds) {
    const double left = seconds * (1 - progress.share) / progress.share;
    text += ProgressWindow::tr(", about %1 left").arg(timeText(std::max(left, 1.0)));
  }
  return text;
}

ProgressWindow::ProgressWindow(QWidget* parent)
    : PanelDialog("ProgressPanel", tr("Keldane Pro"), parent),
      title_(new QLabel(this)),
      indicator_(new QProgressBar(this)),
      count_(new QLabel(this)),
      detail_(new QLabel(this)),
      cancelButton_(new QPushButton(tr("Cancel"), this)),
      appearance_(new QTimer(this)),
      watch_(new QTimer(this)) {
  nameControl(*title_, "progressTitle");
  nameControl(*indicator_, "indicator", tr("Progress"));
  nameControl(*count_, "progressTextField");
  nameControl(*detail_, "parseFileTextField");
  nameControl(*cancelButton_, "parseCancelButton");
  QFont bold = title_->font();
  bold.setBold(true);
  title_->setFont(bold);
  for (QLabel* label : {title_, count_, detail_}) label->setTextFormat(Qt::PlainText);
  // A subject of any length must not widen the panel.
  detail_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  indicator_->setTextVisible(false);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cancelButton_);
  auto* column = new QVBoxLayout(this);
  column->addWidget(title_);
  column->addWidget(indicator_);
  column->addWidget(count_);
  column->addWidget(detail_);
  column->addLayout(buttons);
  setMinimumWidth(kWidth);

  appearance_->setSingleShot(true);
  connect(appearance_, &QTimer::timeout, this, [this] {
    refresh();
    show();
  });
  watch_->setSingleShot(true);
  watch_->setInterval(kLeftOverAfter);
  connect(watch_, &QTimer::timeout, this, [this] { letClose(); });
  const auto stop = [this] {
    if (leftOver_) return end();
    if (busy_) {
      stopped_ = true;
      cancelButton_->setEnabled(false);
      return;
    }
    if (!cancel || !canCancel || !canCancel()) return;
    cancelButton_->setEnabled(false);
    count_->setText(tr("Stopping after the message at hand..."));
    cancel();
  };
  connect(cancelButton_, &QPushButton::clicked, this, stop);
  cancelled = stop;
}

/// The timer comes when the event loop runs: within a task that is at work, in a run, or when a
/// task is over that has not closed the panel.
void ProgressWindow::letClose() {
  if (letsRun_ > 0 || !runs_ || (canCancel && canCancel())) return;
  const QWidget* above = QApplication::activeModalWidget();
  if (above != nullptr && above != this) return watch_->start();
  leftOver_ = true;
  busy_ = stopped_ = false;
  indicator_->setRange(0, 1);
  const bool shown = isVisible();
  // A window takes another modality when it is shown.
  if (shown) hide();
  setWindowModality(Qt::NonModal);
  refresh();
  if (shown) show();
}

double ProgressWindow::seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
}

void ProgressWindow::start(const QString& title) {
  started_ = std::chrono::steady_clock::now();
  reading_ = busy_ = stopped_ = waitsAlone_ = false;
  runs_ = canEnd_ = true;
  leftOver_ = false;
  watch_->start();
  title_->setText(title);
  count_->clear();
  detail_->clear();
  indicator_->setRange(0, 0);
  refresh();
  if (!isVisible()) appearance_->start(kAppearsAfter);
}

bool ProgressWindow::waits(bool canEnd, const QString& title) {
  if (!runs_) {
    start(title);
    // The wait has lasted that long already.
    started_ -= kAppearsAfter;
    waitsAlone_ = true;
  }
  canEnd_ = canEnd;
  return goesOn();
}

void ProgressWindow::waited() {
  canEnd_ = true;
  if (waitsAlone_) return end();
  // The button is the run's again.
  if (canCancel && canCancel()) busy_ = stopped_ = false;
  refresh();
}

bool ProgressWindow::goesOn() {
  const auto now = std::chrono::steady_clock::now();
  if (!isVisible() && now - started_ < kAppearsAfter) return !stopped_;
  if (now - shown_ < kBetweenShows) return !stopped_;
  shown_ = now;
  leftOver_ = false;
  if (!std::exchange(busy_, true)) {
    // Nothing else is to be clicked on while the task is at work.
    setWindowModality(Qt::ApplicationModal);
    refresh();
    show();
  }
  ++letsRun_;
  QCoreApplication::processEvents();
  --letsRun_;
  watch_->start();
  return !stopped_;
}

void ProgressWindow::refresh() {
  const bool can = leftOver_ || (busy_ ? canEnd_ && !stopped_ : canCancel && canCancel());
  cancelButton_->setText(leftOver_ ? tr("Close") : tr("Cancel"));
  cancelButton_->setVisible(can);
  cancelButton_->setEnabled(can);
}

void ProgressWindow::showCount(int count, const QString& detail) {
  if (!cancelButton_->isEnabled() && cancelButton_->isVisible()) return;
  if (!reading_) count_->setText(QLocale().toString(count));
  detail_->setText(detail);
  detail_->setToolTip(detail);
}

void ProgressWindow::showReading(const ReadingProgress& progress, const QString& detail) {
  if (!cancelButton_->isEnabled() && cancelButton_->isVisible()) return;
  reading_ = true;
  indicator_->setRange(0, kBarSteps);
  indicator_->setValue(static_cast<int>(progress.share * kBarSteps));
  count_->setText(readingText(progress, seconds()));
  detail_->setText(detail);
  if (!cancelButton_->isVisible()) refresh();
}

void ProgressWindow::end() {
  appearance_->stop();
  watch_->stop();
  leftOver_ = false;
  runs_ = busy_ = stopped_ = waitsAlone_ = false;
  hide();
}

}  // namespace keldane
