#include "desktop/connect_dialog.h"

#include <QBoxLayout>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFormLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>

#include "app/keldane_controller.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

constexpr int kGreatestPort = 65535;

}  // namespace

ConnectDialog::ConnectDialog(KeldaneController& controller, QWidget* parent)
    : PanelDialog("connectPanel", tr("Connect to Server"), parent),
      controller_(controller),
      list_(new QListWidget(this)) {
  nameControl(*list_, "connectionTableView", tr("Saved connections"));
  list_->setMinimumWidth(180);
  auto* columns = new QHBoxLayout;
  columns->addWidget(list_, 1);
  columns->addLayout(makeForm(), 2);
  auto* hint = new QLabel(
      tr("\"%1\" is the private server of this program, which needs no login. Any other name "
         "stands for a MySQL or MariaDB server of yours.")
          .arg(QLatin1String(kLocalConnectionName)),
      this);
  hint->setWordWrap(true);
  auto* column = new QVBoxLayout(this);
  column->addLayout(columns);
  column->addWidget(hint);
  column->addLayout(makeButtons());
  resize(640, 360);
  connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
    if (row >= 0) controller_.connectPanel().selectConnection(static_cast<std::size_t>(row));
  });
  cancelled = [this] { controller_.connectPanel().cancelConnect(); };
}

void ConnectDialog::closeEvent(QCloseEvent* event) {
  if (!controller_.windowShouldClose("connectPanel")) return event->ignore();
  PanelDialog::closeEvent(event);
}

QLayout* ConnectDialog::makeForm() {
  ConnectForm& values = controller_.connectPanel().form;
  auto* form = new QFormLayout;
  const auto add = [&](const QString& words, const char* name, std::string& value) {
    auto* field = new QLineEdit(this);
    form_.bind(*field, name, value);
    form->addRow(words, field);
    return field;
  };
  add(tr("Name:"), "connectNameTextField", values.connectNameTextField);
  auto* host = add(tr("Host:"), "hostTextField", values.hostTextField);
  host->setPlaceholderText(kDefaultHost);
  host->setToolTip(tr("Of a cluster several, in the order of their use: a, b:3307, [::1]:3308"));
  add(tr("User:"), "userTextField", values.userTextField)->setPlaceholderText(kDefaultUser);
  add(tr("Password:"), "passwordTextField", values.passwordTextField)
      ->setEchoMode(QLineEdit::Password);
  add(tr("Database:"), "dbPathTextField", values.dbPathTextField);
  add(tr("Socket:"), "socketTextField", values.socketTextField);
  auto* port = add(tr("Port:"), "portTextField", values.portTextField);
  port->setValidator(new QIntValidator(0, kGreatestPort, port));
  port->setPlaceholderText(tr("the usual one"));
  return form;
}

QLayout* ConnectDialog::makeButtons() {
  ConnectPanel& panel = controller_.connectPanel();
  const auto save = [this, &panel] {
    form_.take();
    panel.saveConnection();
  };
  const auto connects = [this, &panel] {
    form_.take();
    panel.doConnect();
  };
  return makeFoot(
      {{"saveConnectionButton", tr("Save"), save},
       {"deleteConnectionButton", tr("Delete"), [&panel] { panel.deleteConnection(); }}},
      {{"quitButton", tr("Quit"), [this] { controller_.quitKeldane(); }},
       {"cancelConnectButton", tr("Cancel")},
       {"connectButton", tr("Connect"), connects}});
}

void ConnectDialog::refresh() {
  const Connections& connections = controller_.connections();
  const QSignalBlocker quiet(list_);
  list_->clear();
  for (const std::string& name : connections.connectionNames()) list_->addItem(messageLine(name));
  list_->setCurrentRow(static_cast<int>(connections.selectedConnection()));
  footButton("deleteConnectionButton").setEnabled(list_->count() > 0);
  // With a session there is something to go back to.
  footButton("cancelConnectButton").setVisible(connections.isConnected());
  footButton("quitButton").setVisible(!connections.isConnected());
  form_.show();
}

}  // namespace keldane
