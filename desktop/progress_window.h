#pragma once

#include <chrono>

#include "desktop/panel_view.h"
#include "platform/progress.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QTimer;

namespace keldane {

/// `ProgressPanel`: what is being done, how far it has come and how fast, what is left, and the
/// button that ends it. A task that is over within 300 ms shows no panel. As a sheet it stands over
/// the main window until a run is over. A task that has failed may leave it standing; it can be
/// closed then.
class ProgressWindow : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(ProgressWindow)

 public:
  explicit ProgressWindow(QWidget* parent);

  void start(const QString& title);
  void showCount(int count, const QString& detail);
  void showReading(const ReadingProgress& progress, const QString& detail);
  void end();
  /// A task that keeps the main thread busy lets the panel show itself. False when the user wants
  /// the task to end.
  [[nodiscard]] bool goesOn();
  /// The same while a statement is at the server, with a title of its own when no task has begun.
  /// `canEnd`: the statement can be ended.
  [[nodiscard]] bool waits(bool canEnd, const QString& title);
  /// The statement is over.
  void waited();

  /// The user wants the run under way to end.
  std::function<void()> cancel;
  /// Whether there is something that `cancel` ends.
  std::function<bool()> canCancel;

  void refresh() override;

 private:
  [[nodiscard]] double seconds() const;
  void letClose();

  std::chrono::steady_clock::time_point started_;
  std::chrono::steady_clock::time_point shown_;
  QLabel* title_;
  QProgressBar* indicator_;
  QLabel* count_;
  QLabel* detail_;
  QPushButton* cancelButton_;
  QTimer* appearance_;
  QTimer* watch_;            ///< finds the panel still there when nobody is at work
  bool runs_ = false;        ///< between `start` and `end`
  bool waitsAlone_ = false;  ///< for a statement outside of a task
  bool canEnd_ = true;
  bool reading_ = false;
  bool busy_ = false;     ///< a task of the main thread is under way, and asks `goesOn`
  bool stopped_ = false;  ///< the user wants that to end
  int letsRun_ = 0;       ///< the event loop runs within the task
  bool leftOver_ = false;
};

/// "1,200 of 3,250 files, 380 messages a second, about 12 s left".
[[nodiscard]] QString readingText(const ReadingProgress& progress, double seconds);

}  // namespace keldane
