#pragma once

#include <QCoreApplication>
#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <vector>

#include "desktop/command.h"
#include "desktop/panel_view.h"

class QLabel;
class QLineEdit;
class QSettings;
class QSplitter;
class QStackedWidget;
class QToolBar;
class QTreeView;

namespace keldane {

class FirstPage;
class KeldaneController;
class MessagePane;
class MessageWindow;
class ResultModel;

/// `storePanel`: the list, under it the message that is selected in it, menus and toolbar made of
/// the commands, and the line that says how much there is.
class MainWindow : public QMainWindow, public PanelView {
  Q_DECLARE_TR_FUNCTIONS(MainWindow)

 public:
  /// `state` keeps how the window was left.
  MainWindow(KeldaneController& controller, QSettings& state);
  ~MainWindow() override;

  QWidget& window() override { return *this; }
  void refresh() override;
  void controlChanged(const QString& control) override;

  /// Makes menus and toolbar. Once.
  void addCommands(std::vector<Command> commands);
  /// Rows of the list that are selected, in ascending order.
  [[nodiscard]] std::vector<std::size_t> selectedRows() const;
  [[nodiscard]] std::size_t selectedCount() const;
  /// What has the focus and can do so, copies or selects all.
  void copy();
  void selectAll();
  /// The next or the previous message.
  void step(int rows);
  /// Whether there is one so many rows further on.
  [[nodiscard]] bool canStep(int rows) const;
  /// The selected message in a window of its own.
  void openMessage();
  /// The server is gone, or there again: a bar says so and offers to connect again.
  void showLoss(bool isLost);
  /// Sorts the list as it was sorted when the program was left.
  void restoreSort();
  /// The field for words of the word index gets the focus.
  void focusFind();
  /// Larger or smaller letters in the message; 0: as they were.
  void zoom(int steps);
  void showShortcuts();
  void saveState() const;

  MessagePane& messagePane() { return *pane_; }
  FirstPage& firstPage() { return *firstPage_; }

  /// Files and folders were dropped on the window.
  std::function<void(const std::vector<std::string>& paths)> dropped;
  std::function<void()> reconnect;
  /// The session is at work for somebody who waits, and nobody else can have it. Empty: never.
  std::function<bool()> isBusy;

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  [[nodiscard]] bool refusesDrop();
  void makeList();
  void makeHead();
  void makeKeys();
  QWidget* makeConnectionBar();
  void makeStatusBar();
  void makeFindField(QToolBar& tools);
  void findAsTyped(const QString& text);
  void giveUpFinding();
  void showFonts();
  void restoreState();
  void showLook();
  void reloadList();
  void showSelection();
  void refreshPane();
  void tellSelectedRows();
  void enableCommands();
  void showContextMenu(const QPoint& position);

  KeldaneController& controller_;
  QSettings& state_;
  std::vector<Command> commands_;
  std::vector<QAction*> actions_;  ///< of the commands, in their order
  QWidget* connectionBar_ = nullptr;
  QStackedWidget* pages_;
  FirstPage* firstPage_;
  QSplitter* splitter_;
  QTreeView* list_;
  std::unique_ptr<ResultModel> model_;
  MessagePane* pane_;
  QLabel* dbCount_ = nullptr;
  QLabel* listCount_ = nullptr;
  QLabel* size_ = nullptr;
  QLabel* connection_ = nullptr;
  QLineEdit* find_ = nullptr;
  QLabel* findMessage_ = nullptr;
  bool finding_ = false;  ///< the index is in step for what is being typed
  int zoomSteps_ = 0;
  bool reloading_ = false;
  bool paneIsStale_ = false;
  std::vector<QPointer<MessageWindow>> windows_;  ///< of single messages
};

}  // namespace keldane
