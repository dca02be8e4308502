#include "desktop/panel_view.h"

namespace keldane {

void PanelView::controlChanged(const QString& control) {
  QWidget& own = window();
  const auto* found = own.findChild<QObject*>(control);
  const auto* widget = qobject_cast<const QWidget*>(found);
  // One in a sheet over this window is the sheet's.
  const bool isOwn = found != nullptr && (widget == nullptr || widget->window() == &own);
  if (own.objectName() == control || isOwn) refresh();
}

PanelDialog::PanelDialog(const char* name, const QString& title, QWidget* parent)
    : QDialog(parent) {
  setObjectName(QString::fromLatin1(name));
  setWindowTitle(title);
}

void PanelDialog::reject() {
  if (mayClose && !mayClose()) return;
  if (cancelled) {
    cancelled();
  } else {
    QDialog::reject();
  }
}

}  // namespace keldane
