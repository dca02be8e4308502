#include "app/panels/connect_panel.h"

#include <utility>

#include "app/panels/fault_alerts.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kPanel = "connectPanel";
constexpr const char* kTable = "connectionTableView";
constexpr double kStorePanelWhite = 0.6;

}  // namespace

void ConnectPanel::newConnect() {
  Connections& connections = archiver_.connections();
  inUse_.reset();
  if (connections.isConnected()) inUse_ = connections.current();
  ui_.changed(kTable);
  ui_.runModal(kPanel);
}

bool ConnectPanel::cancelConnect() {
  if (!inUse_ || !archiver_.connections().isConnected()) return false;
  archiver_.connections().selectAgain(*inUse_);
  setConnection();
  ui_.endModal();
  ui_.closePanel(kPanel);
  return true;
}

ServerConnection ConnectPanel::formConnection() const {
  return {form.connectNameTextField,     form.hostTextField,   form.userTextField,
          form.passwordTextField,        form.dbPathTextField, form.socketTextField,
          leadingInt(form.portTextField)};
}

void ConnectPanel::doConnect() {
  ui_.endModal();
  mayClose_ = true;
  if (form.hostTextField.empty()) form.hostTextField = kDefaultHost;
  if (form.userTextField.empty()) form.userTextField = kDefaultUser;
  if (ui_.isPanelVisible(kPanel)) {
    archiver_.database().dbPath = form.dbPathTextField;
    ui_.closePanel(kPanel);
    // That was the close that the mark is for.
    mayClose_ = false;
  }
  finish(archiver_.connect(formConnection()));
}

bool ConnectPanel::connectSaved() {
  const Faults faults = archiver_.connectUnattended();
  // The form follows, for a user who has to see to it.
  setConnection();
  finish(faults);
  return archiver_.connections().isConnected();
}

void ConnectPanel::reconnect() {
  showFaults(archiver_.reconnect(), archiver_.process(), ui_);
  if (archiver_.connections().isConnected() && reconnected) reconnected();
}

void ConnectPanel::finish(const Faults& faults) {
  showFaults(faults, archiver_.process(), ui_);
  if (!archiver_.connections().isConnected()) {
    if (comesBack) newConnect();
  } else if (connected && archiver_.database().isOpen()) {
    connected();
  }
}

void ConnectPanel::setConnection() {
  const ServerConnection& current = archiver_.connections().current();
  form = {current.name,
          current.host,
          current.user,
          current.password,
          current.database,
          current.socket,
          current.port == 0 ? std::string() : std::to_string(current.port)};
  ui_.changed(kPanel);
}

void ConnectPanel::selectConnection(std::size_t row) {
  if (row >= archiver_.connections().connectionList().size()) return;
  archiver_.connections().selectConnection(row);
  setConnection();
}

void ConnectPanel::saveConnection() {
  tellOf(archiver_.connections().saveConnection(formConnection()));
  setConnection();
  ui_.changed(kTable);
  if (archiver_.process().unattendedRun != 0 && setStoreDate) setStoreDate();
}

void ConnectPanel::deleteConnection() {
  tellOf(archiver_.connections().deleteConnection());
  ui_.changed(kTable);
  selectConnection(0);
  // It has nothing to do with connections, and has always gone with this.
  storePanelWhite = kStorePanelWhite;
  ui_.changed("storePanel");
}

void ConnectPanel::tellOf(bool saved) {
  if (saved) return;
  const std::string& file = archiver_.process().prefsFilePath;
  showFaults({{Fault::About::settings, "The saved connections are not kept: the settings file " +
                                           file + " cannot be written."}},
             archiver_.process(), ui_);
}

bool ConnectPanel::takeMayClose() { return std::exchange(mayClose_, false); }

}  // namespace keldane
