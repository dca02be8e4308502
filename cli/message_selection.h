#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "cli/command_line.h"
#include "cli/search_conditions.h"
#include "output/export_frame.h"

namespace keldane {

class Archiver;
class Program;

/// Which messages a command is about: by ids, as the last list, or by the conditions of a search,
/// one way at a time. Nothing given means all messages, for commands that take that.
struct MessageSelection {
  std::vector<std::string> ids;
  bool lastList = false;
  SearchConditions conditions;

  /// Adds arguments and options behind those that the command has. This must outlive the command.
  void addTo(Command& command, const Program& program);
  /// Takes the options in, before anything else. Fails when they make no sense together, and, when
  /// messages must be named, when none are.
  [[nodiscard]] Result<void> read(const Environment& environment, bool mustName = false);
};

/// The messages in their order. nullopt when they are not to be had; the reason has been printed
/// and the exit status is set.
[[nodiscard]] std::optional<std::vector<std::uint32_t>> selectedIds(
    const MessageSelection& selection, Archiver& archiver, Program& program);

/// The end of the statement that finds them, from its WHERE on; empty for ids and the last list.
[[nodiscard]] std::string searchTextOf(const MessageSelection& selection, Archiver& archiver,
                                       Program& program);

/// The messages as lists show them: dates in the user's style, a star behind that of a tagged one.
/// Rows are asked of the server one by one.
[[nodiscard]] MessageList listedMessages(Archiver& archiver, std::vector<std::uint32_t> ids);

}  // namespace keldane
