#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "app/archiver.h"
#include "app/user_interface.h"

namespace keldane {

/// The controls of `connectPanel`.
struct ConnectForm {
  std::string connectNameTextField;
  std::string hostTextField;
  std::string userTextField;
  std::string passwordTextField;
  std::string dbPathTextField;
  std::string socketTextField;
  std::string portTextField;
};

/// `connectPanel`: the table of saved connections, the form that edits one, and the connect.
class ConnectPanel {
 public:
  ConnectPanel(Archiver& archiver, UserInterface& ui) : archiver_(archiver), ui_(ui) {}

  /// Runs the panel modally.
  void newConnect();
  /// Gives the panel up and goes on with the session that stands: whatever row was selected
  /// meanwhile, the form and all that follows it are the session's again. False: there is none to
  /// go back to, and the panel stays.
  bool cancelConnect();
  /// Connects by the form. The panel comes back until that works.
  void doConnect();
  /// The same without the form, with the saved connection; true when the session stands.
  bool connectSaved();
  /// Opens the session again as it was, after the server has gone. What fails is told, and no panel
  /// comes up.
  void reconnect();
  /// The form to the list, over an entry of this name.
  void saveConnection();
  /// The selected entry, which the first one follows.
  void deleteConnection();
  /// Selects a row of `connectionTableView`.
  void selectConnection(std::size_t row);
  /// The current connection to the form.
  void setConnection();
  /// Whether the panel may be closed; asking clears the mark.
  [[nodiscard]] bool takeMayClose();

  ConnectForm form;
  /// How much white is blended into the dark grey of `storePanel`.
  double storePanelWhite = 0;
  /// A face without the panel does without: the connect has failed then.
  bool comesBack = true;
  /// The session stands again, over the same archive.
  std::function<void()> reconnected;
  std::function<void()> connected;     ///< a session stands, and its archive is open
  std::function<void()> setStoreDate;  ///< an unattended run goes on from a saved connection

 private:
  [[nodiscard]] ServerConnection formConnection() const;
  void finish(const Faults& faults);
  /// A change of the list that could not be saved.
  void tellOf(bool saved);

  Archiver& archiver_;
  UserInterface& ui_;
  bool mayClose_ = false;
  std::optional<ServerConnection> inUse_;  ///< of the session, when the panel came up
};

}  // namespace keldane
