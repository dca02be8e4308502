#include "desktop/text_window.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QFontDatabase>
#include <QPlainTextEdit>

#include "desktop/form_binding.h"

namespace keldane {

TextWindow::TextWindow(QWidget* parent)
    : PanelDialog("origWindow", QString(), parent), view_(new QPlainTextEdit(this)) {
  nameControl(*view_, "origTextView", tr("Text"));
  view_->setReadOnly(true);
  view_->setLineWrapMode(QPlainTextEdit::NoWrap);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(view_);
  setWindowFlag(Qt::WindowMinMaxButtonsHint);
  resize(820, 640);
}

void TextWindow::showText(const QString& title, const QString& text) {
  setWindowTitle(title);
  ownTitle_ = title;
  setFixedFont();
  view_->setPlainText(text);
  show();
  raise();
  activateWindow();
}

/// A message that comes into the window has given it another title.
void TextWindow::refresh() {
  setFixedFont();
  if (source && windowTitle() != ownTitle_) view_->setPlainText(source());
}

void TextWindow::setFixedFont() {
  const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  view_->setFont(textFont ? textFont(fixed) : fixed);
}

}  // namespace keldane
