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
  view_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  view_->setLineWrapMode(QPlainTextEdit::NoWrap);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(view_);
  setWindowFlag(Qt::WindowMinMaxButtonsHint);
  resize(820, 640);
}

void TextWindow::showText(const QString& title, const QString& text) {
  setWindowTitle(title);
  view_->setPlainText(text);
  show();
  raise();
  activateWindow();
}

void TextWindow::refresh() {
  if (source) view_->setPlainText(source());
}

}  // namespace keldane
