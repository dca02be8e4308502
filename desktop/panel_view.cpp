#include "desktop/panel_view.h"

namespace keldane {

void PanelView::controlChanged(const QString& control) {
  QWidget& own = window();
  if (own.objectName() == control || own.findChild<QObject*>(control) != nullptr) refresh();
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
