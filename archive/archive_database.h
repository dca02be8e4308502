#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "archive/server_session.h"
#include "platform/process_state.h"
#include "platform/user_interface.h"

namespace keldane {

/// What the opening of a database may do.
enum class Opening {
  create,    ///< make it when it is missing, and bring an old archive up to date
  existing,  ///< refuse a missing one: whoever only reads leaves nothing behind
  ifThere,   ///< the same, and do without a missing one, as before there is an archive
};

/// The archive's schema: makes it, brings old ones up to date, opens it. There is no schema
/// version: each call of `openDatabase` runs the whole sequence, and every step is idempotent or
/// fails harmlessly. Main thread, and the worker of a run through a reconnect.
class ArchiveDatabase {
 public:
  struct Callbacks {
    /// The full `doConnect`. It sets `ProcessState::cancelFlag` when no session will come.
    std::function<void()> reconnect;
    std::function<void()> databaseDropped;  ///< after a drop: settings and fields follow
    /// After a drop, before that: takes the name out of the list of databases.
    std::function<void(const std::string& name)> forgetDatabase = {};
  };

  ArchiveDatabase(ServerSession& session, UserInterface& ui, ProcessState& process);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// Creates, upgrades and selects the database named by `dbPath`. A failure is shown as an alert
  /// and sets `ProcessState::cancelFlag`. With an `opening` other than `create` it only selects the
  /// database, and sends no statement of the schema unless an older archive could not be read
  /// without.
  void openDatabase();
  /// Whether the last call of `openDatabase` has succeeded.
  [[nodiscard]] bool isOpen() const { return open_; }
  /// Shows the schema as text; works without a connection.
  void showSchema();
  /// Drops the current database after a confirmation.
  void deleteDatabase();

  /// Name of the database in use, the field of that name; empty: none chosen yet.
  std::string dbPath;
  Opening opening = Opening::create;
  /// Whether server and database in use are those of the next start too. A database that was named
  /// for one command is not.
  bool remembered = true;

 private:
  /// A step whose failure is expected on an archive that is up to date.
  static void ignoreFailure(bool /*succeeded*/) {}
  bool fail(bool longForm);
  [[nodiscard]] bool send(std::string_view sql);
  [[nodiscard]] bool createDatabase();
  void openExisting();
  bool refuse(const std::string& reason);
  [[nodiscard]] bool makeMessageTables();
  [[nodiscard]] bool makeSettingsTables();
  [[nodiscard]] bool createTable(std::string_view sql, bool longForm);
  void enlargeColumn(std::string_view column, std::string_view title, std::string_view sql,
                     bool reportFailure);
  /// Gives a database without an archive a character set in which every character has its place.
  void useFourByteText();
  void createIndexes();
  [[nodiscard]] bool createIndex();

  ServerSession& session_;
  UserInterface& ui_;
  ProcessState& process_;
  Callbacks callbacks_;
  std::string sqlText_;
  bool indexesDone_ = false;  ///< per process: a second archive gets no index step
  bool open_ = false;
  int reconnects_ = 0;   ///< reconnects under way, one within the other
  bool gaveUp_ = false;  ///< one of them has failed: those around it fail too, without a word
};

}  // namespace keldane
