#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "archive/fault.h"
#include "archive/server_session.h"
#include "base/result.h"
#include "platform/process_state.h"
#include "platform/progress.h"

namespace keldane {

/// What the opening of a database may do.
enum class Opening {
  create,    ///< make it when it is missing, and bring an old archive up to date
  existing,  ///< refuse a missing one: whoever only reads leaves nothing behind
  ifThere,   ///< the same, and do without a missing or an empty one, as before there is an archive
};

/// The archive's schema: makes it, brings old ones up to date, opens it. There is no schema
/// version: unless all is there, a call of `openDatabase` runs the whole sequence, and every step
/// is idempotent or fails harmlessly. Main thread.
class ArchiveDatabase {
 public:
  ArchiveDatabase(ServerSession& session, Progress& progress, ProcessState& process);

  /// Creates, upgrades and selects the database named by `dbPath`. A failure sets
  /// `ProcessState::cancelFlag`. With an `opening` other than `create` it only selects the
  /// database, and sends no statement of the schema unless an older archive could not be read
  /// without. A lost session is brought back by `reconnect`.
  [[nodiscard]] Faults openDatabase();
  /// Whether the last call of `openDatabase` has succeeded.
  [[nodiscard]] bool isOpen() const { return open_; }
  /// Whether it has failed because the server had gone away, within a connect. Taking clears it.
  [[nodiscard]] bool isLost() const { return lost_; }
  [[nodiscard]] bool takeLost() { return std::exchange(lost_, false); }
  /// Drops the current database, and forgets its name.
  [[nodiscard]] Result<void> dropDatabase();

  /// The whole connect, which opens the database too. Empty within a connect, where a lost session
  /// is a failure.
  std::function<Faults()> reconnect;

  /// Name of the database in use, the field of that name; empty: none chosen yet.
  std::string dbPath;
  Opening opening = Opening::create;
  /// Whether server and database in use are those of the next start too. A database that was named
  /// for one command is not.
  bool remembered = true;

 private:
  /// A step whose failure is expected on an archive that is up to date.
  static void ignoreFailure(bool /*succeeded*/) {}
  Faults fail(bool longForm);
  Faults refuse(std::string reason);
  [[nodiscard]] bool send(std::string_view sql);
  [[nodiscard]] Faults openOnce();
  [[nodiscard]] Faults openExisting();
  [[nodiscard]] Faults makeSchema();
  [[nodiscard]] Faults makeTables();
  void enlargeColumn(std::string_view column, std::string_view title, std::string_view sql,
                     bool reportFailure);
  /// Gives a database without an archive a character set in which every character has its place.
  void useFourByteText();
  void createIndexes();
  [[nodiscard]] bool createIndex();

  ServerSession& session_;
  Progress& progress_;
  ProcessState& process_;
  std::string sqlText_;
  bool indexesDone_ = false;  ///< per process: a second archive gets no index step
  bool open_ = false;
  bool lost_ = false;
};

}  // namespace keldane
