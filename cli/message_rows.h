#pragma once

#include <cstddef>
#include <string>

#include "cli/command_line.h"
#include "query/search_result.h"

namespace keldane {

class Archiver;
class Program;

enum class RowFormat { table, tsv, json };

/// What `--limit` says, for help.
inline constexpr const char* kLimitWords = "N|none";

/// How a command that lists messages prints them, and the options for it.
struct RowOptions {
  RowFormat format = RowFormat::table;
  bool json = false;
  std::string database;
  std::string connection;

  /// What to write for a list that is not cut, for the message that it is.
  std::string withoutLimit = "--limit none for all";

  /// Adds the options behind those that the command has. This must outlive the command.
  void addTo(Command& command);
  [[nodiscard]] RowFormat shownFormat() const { return json ? RowFormat::json : format; }
};

/// The list that a command shows.
struct ListRequest {
  std::string statement;
  bool onlyTagged = false;
  bool onlyUntagged = false;
};

/// The end of a command that lists messages: runs the statement, prints the list, keeps it as the
/// last list, tells how many there are, and, when a limit has cut it, of how many. Answers the exit
/// status; a list that could not be had has been told of.
[[nodiscard]] int showList(Archiver& archiver, const ListRequest& request,
                           const RowOptions& options, Program& program);

/// The date for a table of this width: on a narrow terminal without the time. 0: no terminal.
[[nodiscard]] std::string dateToFit(const Emailrow& row, std::size_t width);

}  // namespace keldane
