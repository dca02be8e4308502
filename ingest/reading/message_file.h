#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The text under which a file travels, and the messages of a file that has several.
namespace keldane {

/// The two halves of a text under which a file travels: its path, and the mailbox name without line
/// ends.
struct EmailItem {
  std::string path;
  std::string mailbox;
};
inline constexpr std::string_view kItemSeparator = ":::::";
[[nodiscard]] EmailItem splitEmailItem(std::string_view currentEmailItem);

/// One message of a file, as it stands there.
struct MessagePiece {
  std::string bytes;
  std::uint64_t offsetBytes = 0;  ///< in the file, of its separator line
  bool isTooLong = false;         ///< longer than what can be stored: it was not kept
};

/// Cuts the bytes of a file at each line that begins with "From ". What is left of that line begins
/// the piece; the first piece is as it stands.
[[nodiscard]] std::vector<MessagePiece> cutAtSeparators(std::string_view bytes);

/// Removes the first line with its end, "\n", "\r\n" or "\r"; all of a text without a line end.
void deleteFirstLine(std::string& bytes);

}  // namespace keldane
