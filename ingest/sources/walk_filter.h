#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace keldane {

/// The one reason that does not tell of a mailbox that was not chosen.
inline constexpr std::string_view kHiddenFile = "hidden file";

/// Which files of the walk may be mail, judged by their paths alone, letter by letter.
struct WalkFilter {
  bool importMode = false;
  bool mailboxesState = false;
  bool trashState = false;
  bool junkState = false;

  /// Why the file stays out; absent when it is to be read. In account mode only the in boxes and
  /// the sent boxes pass, and whatever lies in a folder whose name holds such a word.
  [[nodiscard]] std::optional<std::string_view> exclusion(std::string_view path) const;
};

/// Cuts a path down to what stands below the store: the home folder and the store's own folder go
/// wherever they occur, and then the first character.
void keepPathInStore(std::string& path, std::string_view homePath, std::string_view mailRootSuffix);

/// The name of the mailbox that a file of the store lies in: the path below the store, up to the
/// last mailbox extension. `/Users/u/Library/Mail/V10/1234/INBOX.mbox/5678/Data/Messages/1.emlx`
/// gives `V10/1234/INBOX`. A path without such an extension keeps its file name.
[[nodiscard]] std::string mailboxNameOf(std::string_view path, std::string_view homePath,
                                        std::string_view mailRootSuffix);

}  // namespace keldane
