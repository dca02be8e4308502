#pragma once

#include <cstddef>
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
  bool isLast = false;            ///< what is behind it, if anything, is its own
};

/// So much behind the word "From " is enough for `isSeparator`.
inline constexpr std::size_t kSeparatorAheadBytes = 4096;

/// Whether a line that begins with "From " begins a message: it has a sender and a date and stands
/// behind a blank line, or the header of a message follows it, whatever the line says. Any other is
/// a line of text, which would be lost with all behind it: a piece without a header is no message.
/// `ahead` is what follows the word, up to `kSeparatorAheadBytes` of it.
[[nodiscard]] bool isSeparator(std::string_view ahead, bool isBehindBlankLine);

/// Cuts the bytes of a file at its separators. What is left of that line begins the piece; the
/// first piece is as it stands.
[[nodiscard]] std::vector<MessagePiece> cutAtSeparators(std::string_view bytes);

/// The file lies in the `cur` or `new` of a Maildir, where each file is one message, whatever its
/// first line says.
[[nodiscard]] bool isMaildirFile(const std::string& path);

/// A file that begins so may be a message or an mbox: with a separator, or with a header that has a
/// field of a message.
[[nodiscard]] bool beginsLikeMail(std::string_view beginning);

/// Removes the first line with its end, "\n", "\r\n" or "\r"; all of a text without a line end.
void deleteFirstLine(std::string& bytes);

}  // namespace keldane
