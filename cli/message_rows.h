#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/command_line.h"
#include "query/result_list.h"

namespace keldane {

class KeldaneController;
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
  /// Before the list is filled: data for other programs has its dates as ISO 8601 writes them.
  void prepare(ResultList& list) const;
  [[nodiscard]] RowFormat shownFormat() const { return json ? RowFormat::json : format; }
};

/// The end of a command that has filled the result list: prints it, keeps it as the last list,
/// tells how many there are, and, when a limit has cut it, of how many. Answers the exit status; a
/// list that could not be had has been told of.
[[nodiscard]] int showList(KeldaneController& controller, const RowOptions& options,
                           Program& program);

/// Whether a row's message has tags, and its date without the mark of that.
[[nodiscard]] bool isTagged(const Emailrow& row);
[[nodiscard]] std::string plainDate(const Emailrow& row);
/// The date for a table of this width: on a narrow terminal without the time. 0: no terminal.
[[nodiscard]] std::string dateToFit(const Emailrow& row, std::size_t width);

/// A statement without the limit at its end, and the limit.
struct LimitedStatement {
  std::string unlimited;
  std::uint64_t limit = 0;
};
/// Absent for a statement that does not end with a limit.
[[nodiscard]] std::optional<LimitedStatement> splitLimit(std::string_view statement);

}  // namespace keldane
