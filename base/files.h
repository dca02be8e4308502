#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "base/result.h"

/// Whole files and private folders. Nothing here follows a rule of the archive; it only does what
/// the operating system asks for so that a file is never half written or open to other users.
namespace keldane {

/// The file's bytes. Fails with the system's reason, also for a directory.
[[nodiscard]] Result<std::string> readFile(const std::string& path);

/// The file's first bytes, at most `most` of them. Fails as above.
[[nodiscard]] Result<std::string> readBeginning(const std::string& path, std::size_t most);

/// Replaces `path` in one step: a temporary file beside it (made with `mode`), flushed to disk,
/// then renamed over it, so that a crash leaves the old file or the new one, whole. A symbolic link
/// at `path` is followed, so that the link stays.
[[nodiscard]] Result<void> replaceFile(const std::string& path, std::string_view bytes,
                                       unsigned mode = 0600);

/// Gives the next piece of a text and true; false at its end.
using PieceReader = std::function<Result<bool>(std::string_view& piece)>;
/// The same for a content that comes in pieces. A piece that fails leaves the old file.
[[nodiscard]] Result<void> replaceFile(const std::string& path, const PieceReader& nextPiece,
                                       unsigned mode = 0600);

/// Writes all of it, however many writes that takes. 0, or the system's number of the reason.
[[nodiscard]] int writeAll(int fd, std::string_view bytes);

/// Puts on disk what has been made or renamed in the folder of `path`. Some file systems know no
/// such thing for folders; the file itself is safe by then.
void syncFolderOf(const std::string& path);

/// Makes the folder and its missing parents; those it makes get `mode`. An existing folder is left
/// as it is.
[[nodiscard]] Result<void> makeFolders(const std::string& path, unsigned mode = 0700);

[[nodiscard]] bool fileExists(const std::string& path);
[[nodiscard]] bool isDirectory(const std::string& path);

}  // namespace keldane
