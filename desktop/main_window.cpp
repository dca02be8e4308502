#include "desktop/main_window.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <utility>

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QCloseEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>
#include <QUrl>

#include "app/keldane_controller.h"
#include "desktop/appearance.h"
#include "desktop/first_page.h"
#include "desktop/fonts.h"
#include "desktop/form_binding.h"
#include "desktop/message_pane.h"
#include "desktop/message_window.h"
#include "desktop/qt_text.h"
#include "desktop/reading_keys.h"
#include "desktop/result_model.h"
#include "desktop/translation.h"

namespace keldane {
namespace {

constexpr const char* kGeometryKey = "storePanel/geometry";
constexpr const char* kWindowKey = "storePanel/state";
constexpr const char* kSplitterKey = "storePanel/mySplitView";
constexpr const char* kColumnsKey = "storeTableView/columns";
constexpr const char* kSortKey = "storeTableView/sortColumn";
constexpr const char* kReverseKey = "storeTableView/reverseList";

QString menuTitle(Menu menu) {
  switch (menu) {
    case Menu::archive:
      return MainWindow::tr("&Archive");
    case Menu::edit:
      return MainWindow::tr("&Edit");
    case Menu::search:
      return MainWindow::tr("&Search");
    case Menu::view:
      return MainWindow::tr("&View");
    case Menu::message:
      return MainWindow::tr("&Message");
    case Menu::window:
      return MainWindow::tr("&Window");
    case Menu::help:
      return MainWindow::tr("&Help");
  }
  return {};
}

/// Where an item goes next: into its menu, or into the menu within that, which is made for the
/// first of its items.
QMenu& placeOf(QMenu& menu, const Command& command) {
  QMenu* place = &menu;
  for (const QAction* item : menu.actions()) {
    if (item->menu() != nullptr && item->text() == command.submenu) place = item->menu();
  }
  if (command.beginsGroup) place->addSeparator();
  if (!command.submenu.isEmpty() && place == &menu) place = menu.addMenu(command.submenu);
  return *place;
}

/// Rows with a little room between their lines.
class RoomyRows : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                               const QModelIndex& index) const override {
    constexpr int kRoom = 2;
    return QStyledItemDelegate::sizeHint(option, index) + QSize(0, kRoom);
  }
};

std::vector<std::string> localPaths(const QMimeData* data) {
  std::vector<std::string> paths;
  for (const QUrl& url : data->urls()) {
    if (url.isLocalFile()) paths.push_back(systemPath(url.toLocalFile()));
  }
  return paths;
}

}  // namespace

MainWindow::MainWindow(KeldaneController& controller, QSettings& state)
    : controller_(controller),
      state_(state),
      pages_(new QStackedWidget(this)),
      firstPage_(new FirstPage(pages_)),
      splitter_(new QSplitter(Qt::Vertical, pages_)),
      list_(new QTreeView(splitter_)),
      model_(std::make_unique<ResultModel>(controller.resultTable())),
      pane_(new MessagePane(
          {controller.messageViewer(), controller.attachmentList(), controller.userInterface(),
           [&controller] { controller.messageViewer().viewOrig(); }},
          splitter_)) {
  setObjectName("storePanel");
  setWindowTitle(tr("Keldane Pro"));
  setAcceptDrops(true);
  nameControl(*splitter_, "mySplitView");
  makeList();
  splitter_->addWidget(list_);
  splitter_->addWidget(pane_);
  splitter_->setChildrenCollapsible(false);
  splitter_->setStretchFactor(0, 2);
  splitter_->setStretchFactor(1, 3);
  pages_->addWidget(splitter_);
  pages_->addWidget(firstPage_);
  auto* centre = new QWidget(this);
  auto* column = new QVBoxLayout(centre);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(makeConnectionBar());
  column->addWidget(pages_, 1);
  setCentralWidget(centre);
  makeKeys();
  makeStatusBar();
}

MainWindow::~MainWindow() {
  for (const QPointer<MessageWindow>& window : windows_) delete window.data();
}

QWidget* MainWindow::makeConnectionBar() {
  connectionBar_ = new QWidget(this);
  connectionBar_->setObjectName("connectionBar");
  auto* words = new QLabel(tr("The connection to the server is lost."), connectionBar_);
  nameControl(*words, "connectionLostLabel");
  auto* again = new QPushButton(tr("Connect Again"), connectionBar_);
  nameControl(*again, "reconnectButton");
  auto* row = new QHBoxLayout(connectionBar_);
  row->setContentsMargins(8, 4, 8, 4);
  row->addWidget(words);
  row->addWidget(again);
  row->addStretch();
  connectionBar_->hide();
  connect(again, &QPushButton::clicked, this, [this] {
    if (reconnect) reconnect();
  });
  return connectionBar_;
}

void MainWindow::showLoss(bool isLost) { connectionBar_->setVisible(isLost); }

void MainWindow::makeKeys() {
  auto* keys = new ReadingKeys(this);
  keys->step = [this](int rows) { step(rows); };
  keys->readOn = [this] {
    if (!pane_->scrollOn()) step(1);
  };
  keys->zoom = [this](int steps) { zoom(steps); };
  pane_->watchKeys(keys);
  auto* ofList = new ReadingKeys(this);
  ofList->step = keys->step;
  ofList->readOn = keys->readOn;
  ofList->zoom = keys->zoom;
  ofList->open = [this] { openMessage(); };
  list_->installEventFilter(ofList);
  list_->viewport()->installEventFilter(ofList);
}

void MainWindow::makeList() {
  nameControl(*list_, "storeTableView", tr("Emails"));
  list_->setModel(model_.get());
  model_->writeSelected = [this] {
    return controller_.savePanel().writeForUse(controller_.process().workFolder);
  };
  list_->setRootIsDecorated(false);
  list_->setItemsExpandable(false);
  list_->setUniformRowHeights(true);
  list_->setItemDelegate(new RoomyRows(list_));
  list_->setAllColumnsShowFocus(true);
  list_->setAlternatingRowColors(true);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->setFrameShape(QFrame::NoFrame);
  list_->setContextMenuPolicy(Qt::CustomContextMenu);
  list_->setDragEnabled(true);
  list_->setDragDropMode(QAbstractItemView::DragOnly);
  makeHead();
  connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          [this] { showSelection(); });
  connect(list_, &QAbstractItemView::doubleClicked, this, [this] { openMessage(); });
  connect(list_, &QWidget::customContextMenuRequested, this,
          [this](const QPoint& position) { showContextMenu(position); });
}

void MainWindow::makeHead() {
  QHeaderView* head = list_->header();
  head->setSectionsMovable(true);
  head->setFirstSectionMovable(true);
  head->setSectionsClickable(true);
  head->setSortIndicatorShown(false);
  head->setStretchLastSection(false);
  head->setContextMenuPolicy(Qt::ActionsContextMenu);
  const int character = fontMetrics().averageCharWidth();
  for (int column = 0; column < model_->columnCount(); ++column) {
    head->resizeSection(column, kResultColumns[column].width * character);
    auto* shown =
        new QAction(model_->headerData(column, Qt::Horizontal, Qt::ToolTipRole).toString(), head);
    shown->setCheckable(true);
    shown->setChecked(column != kIdColumn);
    connect(shown, &QAction::toggled, head,
            [head, column](bool on) { head->setSectionHidden(column, !on); });
    head->addAction(shown);
  }
  head->setSectionHidden(kIdColumn, true);
  head->setSectionResizeMode(kSubjectColumn, QHeaderView::Stretch);
  connect(head, &QHeaderView::sectionClicked, this,
          [this](int column) { model_->sort(column, Qt::AscendingOrder); });
}

void MainWindow::makeStatusBar() {
  const auto add = [this](const char* name) {
    auto* label = new QLabel(statusBar());
    label->setObjectName(QString::fromLatin1(name));
    label->setTextFormat(Qt::PlainText);
    label->setContentsMargins(6, 0, 10, 0);
    return label;
  };
  dbCount_ = add("dbCountTextField");
  listCount_ = add("listCountTextField");
  size_ = add("sizeTextField");
  connection_ = add("connectionLabel");
  for (QLabel* label : {dbCount_, listCount_, size_}) statusBar()->addWidget(label);
  statusBar()->addPermanentWidget(connection_);
}

void MainWindow::addCommands(std::vector<Command> commands) {
  commands_ = std::move(commands);
  actions_.assign(commands_.size(), nullptr);
  auto* tools = new QToolBar(tr("Toolbar"), this);
  tools->setObjectName("storeToolbar");
  tools->setToolButtonStyle(Qt::ToolButtonTextOnly);
  tools->setMovable(false);
  addToolBar(tools);
  for (int menu = static_cast<int>(Menu::archive); menu <= static_cast<int>(Menu::help); ++menu) {
    QMenu* items = nullptr;
    for (std::size_t i = 0; i < commands_.size(); ++i) {
      const Command& command = commands_[i];
      if (static_cast<int>(command.menu) != menu) continue;
      if (items == nullptr) items = menuBar()->addMenu(menuTitle(command.menu));
      QAction* action =
          placeOf(*items, command).addAction(command.title, command.shortcut, this, command.run);
      actions_[i] = action;
      if (command.shortcut == QKeySequence("Ctrl++")) {
        // On most keyboards "+" is the other sign on this key.
        action->setShortcuts({command.shortcut, QKeySequence("Ctrl+=")});
      }
      action->setObjectName(QString::fromLatin1(command.name));
      action->setCheckable(static_cast<bool>(command.checked));
      if (!command.tool.isEmpty()) {
        action->setIconText(command.tool);
        tools->addAction(action);
      }
    }
    if (items != nullptr) connect(items, &QMenu::aboutToShow, this, [this] { enableCommands(); });
  }
  makeFindField(*tools);
  enableCommands();
  restoreState();
}

void MainWindow::makeFindField(QToolBar& tools) {
  auto* gap = new QWidget(&tools);
  gap->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  find_ = new QLineEdit(&tools);
  nameControl(*find_, "findField", tr("Find"));
  find_->setPlaceholderText(tr("Find"));
  find_->setClearButtonEnabled(true);
  find_->setMaximumWidth(320);
  find_->setToolTip(
      tr("Words of the message or of its attachments; \"in quotes\", from:, subject:, "
         "date:2003..2005, "
         "has:attachment, OR, -not"));
  findMessage_ = new QLabel(&tools);
  nameControl(*findMessage_, "findMessage");
  findMessage_->setTextFormat(Qt::PlainText);
  tools.addWidget(gap);
  tools.addWidget(findMessage_);
  tools.addWidget(find_);
  connect(find_, &QLineEdit::textEdited, this, [this](const QString& text) { findAsTyped(text); });
  connect(find_, &QLineEdit::returnPressed, this, [this] {
    controller_.findField().keep();
    list_->setFocus();
  });
  find_->installEventFilter(this);
}

/// The index is brought in step once for each search.
void MainWindow::findAsTyped(const QString& text) {
  FindField& field = controller_.findField();
  if (!finding_ && !text.isEmpty()) {
    if (!field.begin()) return;
    finding_ = true;
  }
  field.type(plainText(find_->text()));
  if (text.isEmpty()) finding_ = false;
}

void MainWindow::giveUpFinding() {
  finding_ = false;
  find_->clear();
  controller_.findField().giveUp();
  list_->setFocus();
}

void MainWindow::focusFind() {
  find_->setFocus(Qt::ShortcutFocusReason);
  find_->selectAll();
}

void MainWindow::zoom(int steps) {
  zoomSteps_ = steps == 0 ? 0 : std::clamp(zoomSteps_ + steps, -6, 12);
  pane_->zoom(std::pow(1.1, zoomSteps_));
}

void MainWindow::showFonts() {
  const UserSettings& user = controller_.settings().user;
  list_->setFont(fontOf(user.listFont));
  pane_->setTextFont(fontOf(user.bodyFont));
  for (const QPointer<MessageWindow>& window : windows_) {
    if (window) window->pane().setTextFont(fontOf(user.bodyFont));
  }
}

void MainWindow::enableCommands() {
  for (std::size_t i = 0; i < actions_.size(); ++i) {
    const Command& command = commands_[i];
    actions_[i]->setEnabled(!command.enabled || command.enabled());
    if (command.checked) actions_[i]->setChecked(command.checked());
  }
}

void MainWindow::showShortcuts() {
  QString lines;
  for (const Command& command : commands_) {
    if (command.shortcut.isEmpty()) continue;
    lines += QStringLiteral("%1\t%2\n")
                 .arg(command.shortcut.toString(QKeySequence::NativeText), command.title);
  }
  lines +=
      tr("N, J\tNext message\nP, K\tPrevious message\n"
         "Space\tScrolls, then the next message\n"
         "Enter, double click\tThe message in a window of its own\n"
         "Ctrl and wheel\tLarger or smaller text\n"
         "Esc\tIn Find: the former list; else: closes the window\n"
         "Enter\tIn Find: keeps what is found as the list\n");
  controller_.userInterface().showText(plainText(tr("Keyboard Shortcuts")), plainText(lines));
}

void MainWindow::showContextMenu(const QPoint& position) {
  enableCommands();
  QMenu menu(this);
  for (std::size_t i = 0; i < commands_.size(); ++i) {
    if (commands_[i].menu == Menu::message) placeOf(menu, commands_[i]).addAction(actions_[i]);
  }
  // The same as in the toolbar.
  menu.addSeparator();
  for (std::size_t i = 0; i < commands_.size(); ++i) {
    const bool isTool = !commands_[i].tool.isEmpty();
    if (isTool && commands_[i].menu != Menu::message) menu.addAction(actions_[i]);
  }
  menu.exec(list_->viewport()->mapToGlobal(position));
}

void MainWindow::refresh() {
  const ResultTable& table = controller_.resultTable();
  dbCount_->setText(coreWords(table.dbCountTextField));
  listCount_->setText(coreWords(table.listCountTextField));
  size_->setText(coreWords(controller_.messageViewer().views.sizeTextField));
  const bool connected = controller_.connections().isConnected();
  const std::string database = connected ? controller_.database().dbPath : std::string();
  const std::string name = controller_.connections().current().name;
  connection_->setText(connected
                           ? messageLine(name) + QStringLiteral(" \u25b8 ") + messageLine(database)
                           : tr("Not connected"));
  firstPage_->setConnected(connected);
  const bool empty = !connected || (table.archiveIsEmpty && table.numberOfRows() == 0);
  for (QLabel* label : {listCount_, size_}) label->setVisible(!empty);
  pages_->setCurrentWidget(empty ? static_cast<QWidget*>(firstPage_) : splitter_);
  enableCommands();
}

void MainWindow::showLook() {
  applyLook(static_cast<Look>(controller_.settings().archive.appearanceState));
  pane_->setDark(isDark());
  for (const QPointer<MessageWindow>& window : windows_) {
    if (window) window->pane().setDark(isDark());
  }
}

void MainWindow::controlChanged(const QString& control) {
  if (control == "appearance") {
    showLook();
    showFonts();
  }
  if (control == "findMessage")
    findMessage_->setText(coreWords(shownLine(controller_.findField().message)));
  if (control == "storeTableView") reloadList();
  const bool ofMessage = pane_->findChild<QObject*>(control) != nullptr ||
                         control == "messageHead" || control == "mySplitView" ||
                         control == "myHtmlWebView" || control == "attachmentView";
  if (control == "attachmentTableView") {
    pane_->refreshAttachments();
  } else if (ofMessage) {
    // A selection changes many of them at once.
    if (!std::exchange(paneIsStale_, true)) QTimer::singleShot(0, this, [this] { refreshPane(); });
  }
  if (control == objectName() || findChild<QObject*>(control) != nullptr) refresh();
}

void MainWindow::refreshPane() {
  constexpr std::chrono::milliseconds kLater{50};
  if (isBusy && isBusy()) {
    QTimer::singleShot(kLater, this, [this] { refreshPane(); });
    return;
  }
  paneIsStale_ = false;
  pane_->refresh();
}

/// Sorting keeps the message that was selected; a new list has none.
void MainWindow::reloadList() {
  const ResultTable& table = controller_.resultTable();
  const int before = list_->currentIndex().row();
  const bool selected = selectedCount() > 0 && before >= 0;
  const std::uint32_t owner = controller_.messageViewer().attachOwnerId;
  reloading_ = true;
  model_->reload();
  for (int column = 0; column < model_->columnCount(); ++column) {
    const std::string_view mark = table.sortIndicator(kResultColumns[column].identifier);
    if (mark.empty()) continue;
    list_->header()->setSortIndicatorShown(true);
    list_->header()->setSortIndicator(
        column, mark.starts_with("NSAsc") ? Qt::AscendingOrder : Qt::DescendingOrder);
  }
  if (selected && owner != 0) {
    for (std::size_t row = 0; row < table.numberOfRows(); ++row) {
      if (table.emailRows[table.modelIndex(row)].emailID != owner) continue;
      list_->setCurrentIndex(model_->index(static_cast<int>(row), 0));
      break;
    }
  }
  reloading_ = false;
  controller_.messageViewer().selection = {selectedCount(), list_->currentIndex().row()};
  tellSelectedRows();
  // The message that was shown is no longer in the list.
  if (selected && selectedCount() == 0) showSelection();
}

void MainWindow::tellSelectedRows() {
  std::vector<std::size_t> rows = selectedRows();
  const auto shown = std::find(rows.begin(), rows.end(),
                               static_cast<std::size_t>(std::max(0, list_->currentIndex().row())));
  // The one that is shown counts as the one selected last.
  if (shown != rows.end()) std::rotate(shown, shown + 1, rows.end());
  controller_.tagPanel().selectedRows = rows;
  controller_.resultTable().selectedRows = std::move(rows);
}

std::size_t MainWindow::selectedCount() const {
  std::size_t count = 0;
  for (const QItemSelectionRange& range : list_->selectionModel()->selection()) {
    count += static_cast<std::size_t>(range.height());
  }
  return count;
}

std::vector<std::size_t> MainWindow::selectedRows() const {
  std::vector<std::size_t> rows;
  for (const QItemSelectionRange& range : list_->selectionModel()->selection()) {
    for (int row = range.top(); row <= range.bottom(); ++row) {
      rows.push_back(static_cast<std::size_t>(row));
    }
  }
  std::sort(rows.begin(), rows.end());
  return rows;
}

void MainWindow::showSelection() {
  if (reloading_) return;
  MessageViewer& viewer = controller_.messageViewer();
  const std::size_t count = selectedCount();
  viewer.selection = {count, count == 0 ? -1 : list_->currentIndex().row()};
  tellSelectedRows();
  if (count == 0) {
    controller_.resultTable().messageButtonsEnabled = false;
    viewer.clearMessageViews();
  } else {
    viewer.tableViewSelectionDidChange();
    pane_->markWords(controller_.findField().words());
  }
  refresh();
}

void MainWindow::step(int rows) {
  const int last = model_->rowCount() - 1;
  if (last < 0) return;
  const int row = std::clamp(list_->currentIndex().row() + rows, 0, last);
  list_->setCurrentIndex(model_->index(row, 0));
}

bool MainWindow::canStep(int rows) const {
  const int row = list_->currentIndex().row() + rows;
  return row >= 0 && row < model_->rowCount();
}

void MainWindow::openMessage() {
  const ResultTable& table = controller_.resultTable();
  const int row = list_->currentIndex().row();
  if (row < 0 || selectedCount() == 0 || controller_.archiveRun().isRunning()) return;
  auto* window = new MessageWindow(controller_.openMessage(), controller_.userInterface());
  window->neighbour = [&table](std::uint32_t id, int rows) -> std::optional<Emailrow> {
    const auto count = static_cast<int>(table.numberOfRows());
    for (int here = 0; here < count; ++here) {
      if (table.emailRows[table.modelIndex(static_cast<std::size_t>(here))].emailID != id) continue;
      const int there = here + rows;
      if (there < 0 || there >= count) return std::nullopt;
      return table.emailRows[table.modelIndex(static_cast<std::size_t>(there))];
    }
    return std::nullopt;
  };
  window->pane().setTextFont(fontOf(controller_.settings().user.bodyFont));
  window->pane().setDark(isDark());
  std::erase_if(windows_, [](const auto& one) { return one.isNull(); });
  windows_.emplace_back(window);
  window->show(table.emailRows[table.modelIndex(static_cast<std::size_t>(row))]);
}

void MainWindow::copy() {
  if (QWidget* focus = focusWidget()) QMetaObject::invokeMethod(focus, "copy");
}

void MainWindow::selectAll() {
  if (QWidget* focus = focusWidget()) QMetaObject::invokeMethod(focus, "selectAll");
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == find_ && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Escape) {
      giveUpFinding();
      return true;
    }
    if (key == Qt::Key_Down) {
      list_->setFocus();
      step(list_->currentIndex().isValid() ? 1 : 0);
      return true;
    }
  }
  return QMainWindow::eventFilter(watched, event);
}

void MainWindow::restoreState() {
  resize(1180, 780);
  splitter_->setSizes({280, 420});
  restoreGeometry(state_.value(kGeometryKey).toByteArray());
  QMainWindow::restoreState(state_.value(kWindowKey).toByteArray());
  splitter_->restoreState(state_.value(kSplitterKey).toByteArray());
  QHeaderView* head = list_->header();
  if (!head->restoreState(state_.value(kColumnsKey).toByteArray())) return;
  for (int column = 0; column < model_->columnCount(); ++column) {
    head->actions()[column]->setChecked(!head->isSectionHidden(column));
  }
}

void MainWindow::restoreSort() {
  ResultTable& table = controller_.resultTable();
  const std::string column = plainText(state_.value(kSortKey).toString());
  if (column.empty()) return;
  table.didClickTableColumn(column);
  if (state_.value(kReverseKey).toBool()) table.didClickTableColumn(column);
}

void MainWindow::saveState() const {
  state_.setValue(kGeometryKey, saveGeometry());
  state_.setValue(kWindowKey, QMainWindow::saveState());
  state_.setValue(kSplitterKey, splitter_->saveState());
  state_.setValue(kColumnsKey, list_->header()->saveState());
  const ResultTable& table = controller_.resultTable();
  state_.setValue(kSortKey, qtText(table.sortColumn));
  state_.setValue(kReverseKey, table.reverseList);
}

/// Nothing of the program is left to be seen without its main window.
void MainWindow::closeEvent(QCloseEvent* event) {
  event->accept();
  controller_.quitKeldane();
}

/// Whether files cannot be taken in just now, which a line at the foot explains.
bool MainWindow::refusesDrop() {
  QString reason;
  if (controller_.archiveRun().isRunning()) {
    reason = tr("Nothing was taken: a run is going on. Drop the files when it is over.");
  } else if (!controller_.connections().isConnected()) {
    reason = tr("Nothing was taken: there is no connection to an archive.");
  } else if (QApplication::activeModalWidget() != nullptr || (isBusy && isBusy())) {
    reason = tr("Nothing was taken: finish what is open, then drop the files again.");
  }
  constexpr int kShownMs = 15000;
  if (!reason.isEmpty()) statusBar()->showMessage(reason, kShownMs);
  return !reason.isEmpty();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  // What comes out of the archive does not go in again.
  if (event->source() != nullptr || localPaths(event->mimeData()).empty() || refusesDrop()) return;
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

/// The files stay where they are, whatever the other program would rather have; and it does not
/// wait for what is asked then. A question may have come up since the files entered the window.
void MainWindow::dropEvent(QDropEvent* event) {
  if (refusesDrop()) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
  QTimer::singleShot(0, this, [this, paths = localPaths(event->mimeData())] {
    if (dropped && !refusesDrop()) dropped(paths);
  });
}

}  // namespace keldane
