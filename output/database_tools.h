#pragma once

#include <functional>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/files.h"
#include "base/result.h"
#include "platform/progress.h"
#include "platform/tool_runner.h"

/// The database's own tools, which carry whole databases in and out.
namespace keldane {

/// Where a tool of this name lies, by `which`: in the folder of the database's own installer, on
/// the PATH, or there under MariaDB's name for it.
struct FoundTool {
  std::string path;   ///< empty: missing
  std::string found;  ///< what `which` has said last, for the message about a missing one
};
[[nodiscard]] FoundTool findTool(ToolRunner& tools, const std::string& name);

/// A private file with the login of a server, mode 0600, gone with the object: so that a tool
/// reaches the server that the program is connected to, and no password stands on a command line.
class OptionFile {
 public:
  /// Fails when the file cannot be made in the folder.
  [[nodiscard]] static Result<OptionFile> make(const ServerAddress& address,
                                               const std::string& folder);
  OptionFile(OptionFile&& other) noexcept : path_(std::move(other.path_)) { other.path_.clear(); }
  OptionFile& operator=(OptionFile&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
  }
  ~OptionFile();
  /// The first argument of a tool: this file, and no other of the machine.
  [[nodiscard]] std::string argument() const { return "--defaults-file=" + path_; }

 private:
  explicit OptionFile(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

/// What runs the tools against a server.
struct ToolContext {
  ToolRunner& tools;
  ServerAddress address;        ///< of the session; `database` is not looked at
  std::string temporaryFolder;  ///< for the option file
  Progress& progress;           ///< a cancel ends the tool
};

/// Runs a tool to its end, with the login before the arguments. Fails with the tool's own words
/// when it does, and with "cancelled" after a cancel.
[[nodiscard]] Result<void> runDatabaseTool(const ToolContext& context, const std::string& program,
                                           std::vector<std::string> arguments, PieceReader input,
                                           std::function<bool(std::string_view)> output);

/// `importSQL`: whether a file is an SQL file of an archive, and what it would do.
struct SqlFile {
  std::string databaseName;
  bool replaces = false;  ///< it takes tables away before it makes them
};
/// Fails with "This is not a Keldane SQL file.", or when the file cannot be read.
[[nodiscard]] Result<SqlFile> inspectSqlFile(const std::string& path);
/// Gives the file to `mysql`, which goes on past errors; it is told as failed then all the same.
[[nodiscard]] Result<void> importSQL(const ToolContext& context, const std::string& path);
/// `backupSQL`: the whole database by `mysqldump`. The file stands under its name only when the
/// tool has ended well.
[[nodiscard]] Result<void> backupSQL(const ToolContext& context, const std::string& databaseName,
                                     const std::string& path);

/// Pieces of a file, one after the other. Fails when it cannot be opened.
[[nodiscard]] Result<PieceReader> readInPieces(const std::string& path);

}  // namespace keldane
