#include "desktop/panel_view.h"

#include <QBoxLayout>
#include <QPushButton>

#include "desktop/form_binding.h"

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
  if (cancelled) {
    cancelled();
  } else {
    QDialog::reject();
  }
}

QLayout* PanelDialog::makeFoot(const std::vector<FootButton>& left,
                               const std::vector<FootButton>& right) {
  auto* row = new QHBoxLayout;
  const auto add = [this, row](const FootButton& button) {
    auto* made = new QPushButton(button.words, this);
    nameControl(*made, button.name);
    connect(made, &QPushButton::clicked, this,
            [this, run = button.run] { run ? run() : reject(); });
    row->addWidget(made);
  };
  for (const FootButton& button : left) add(button);
  row->addStretch();
  for (const FootButton& button : right) add(button);
  footButton(right.back().name).setDefault(true);
  return row;
}

QPushButton& PanelDialog::footButton(const char* name) const {
  return *findChild<QPushButton*>(QLatin1String(name));
}

}  // namespace keldane
