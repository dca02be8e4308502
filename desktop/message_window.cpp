#include "desktop/message_window.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <QBoxLayout>
#include <QShortcut>

#include "desktop/message_pane.h"
#include "desktop/qt_text.h"
#include "desktop/reading_keys.h"

namespace keldane {

MessageWindow::MessageWindow(std::unique_ptr<OpenMessage> message, UserInterface& ui)
    : QWidget(nullptr, Qt::Window),
      message_(std::move(message)),
      ui_(ui),
      pane_(new MessagePane(
          {message_->viewer, message_->attachments, ui_, [this] { showSource(); }}, this)) {
  setObjectName("messageWindow");
  setAttribute(Qt::WA_DeleteOnClose);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(pane_);
  resize(820, 700);
  auto* keys = new ReadingKeys(this);
  keys->step = [this](int rows) { step(rows); };
  keys->readOn = [this] {
    if (!pane_->scrollOn()) step(1);
  };
  keys->leave = [this] { close(); };
  keys->zoom = [this](int steps) { zoom(steps); };
  pane_->watchKeys(keys);
  addShortcut(QKeySequence("Esc"), [this] { close(); });
  addShortcut(QKeySequence("Ctrl+W"), [this] { close(); });
  addShortcut(QKeySequence("Ctrl++"), [this] { zoom(1); });
  addShortcut(QKeySequence("Ctrl+="), [this] { zoom(1); });
  addShortcut(QKeySequence("Ctrl+-"), [this] { zoom(-1); });
  addShortcut(QKeySequence("Ctrl+0"), [this] { zoom(0); });
  addShortcut(QKeySequence("Ctrl+U"), [this] { showSource(); });
}

MessageWindow::~MessageWindow() {
  // The pane takes itself out of the viewer, which must still be there.
  delete pane_;
}

void MessageWindow::addShortcut(const QKeySequence& keys, std::function<void()> run) {
  auto* shortcut = new QShortcut(keys, this);
  connect(shortcut, &QShortcut::activated, this, std::move(run));
}

void MessageWindow::show(Emailrow message) {
  setWindowTitle(message.emailSubject.empty() ? tr("(no subject)")
                                              : messageLine(message.emailSubject));
  message_->show(std::move(message));
  pane_->refresh();
  QWidget::show();
  pane_->focusText();
}

void MessageWindow::step(int rows) {
  const std::uint32_t id = message_->table.emailRows.front().emailID;
  std::optional<Emailrow> next = neighbour ? neighbour(id, rows) : std::nullopt;
  if (next) show(std::move(*next));
}

void MessageWindow::zoom(int steps) {
  zoomSteps_ = steps == 0 ? 0 : std::clamp(zoomSteps_ + steps, -6, 12);
  pane_->zoom(std::pow(1.1, zoomSteps_));
}

/// In the window for texts, which else shows the source of what is selected in the list.
void MessageWindow::showSource() {
  MessageViewer& viewer = message_->viewer;
  viewer.views.origTextView.clear();
  viewer.viewOrig();
  if (viewer.views.origTextView.empty()) return;
  ui_.showText(plainText(windowTitle()), viewer.views.origTextView);
}

}  // namespace keldane
