#pragma once

#include "app/panels/settings_panel.h"
#include "app/user_interface.h"

namespace keldane {

/// The menu items that are about the whole database.
class DatabasePanel {
 public:
  DatabasePanel(Archiver& archiver, SettingsPanel& settings, UserInterface& ui)
      : archiver_(archiver), settingsPanel_(settings), ui_(ui) {}

  /// Shows the schema as text; works without a connection.
  void showSchema();
  /// Drops the current database after a confirmation.
  void deleteDatabase();

 private:
  Archiver& archiver_;
  SettingsPanel& settingsPanel_;
  UserInterface& ui_;
};

}  // namespace keldane
