#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"

/// Files that hold one message, or several one behind the other, read whole.
namespace keldane {

/// The two halves of a text under which a file travels: its path, and the mailbox name without line
/// ends.
struct EmailItem {
  std::string path;
  std::string mailbox;
};
inline constexpr std::string_view kItemSeparator = ":::::";
[[nodiscard]] EmailItem splitEmailItem(std::string_view currentEmailItem);

/// The file as text with "\n" line ends: UTF-8 when its bytes are, otherwise read as ISO Latin 1.
[[nodiscard]] Result<std::string> readMessageFile(const std::string& path);

/// One message of a file.
struct MessagePiece {
  std::string text;
  std::uint64_t offsetBytes = 0;  ///< in the file, of its separator line
};

/// The file as `readMessageFile` reads it, cut at each line that begins with "From ". What is left
/// of that line begins the piece; the first piece is as it stands. A file that cannot be read gives
/// the reason.
[[nodiscard]] Result<std::vector<MessagePiece>> readSeveralMessages(const std::string& path);

/// Removes the first line with its end; all of a text without a line end.
void deleteFirstLine(std::string& text);

}  // namespace keldane
