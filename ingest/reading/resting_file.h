#pragma once

#include <cstdint>
#include <string>

#include "base/result.h"

/// Whether a file is still being written. A mail client may be in the middle of a message when it
/// is read: what is stored then is short, and the whole message later passes for its duplicate.
namespace keldane {

/// A file that has not changed for so long is taken to be finished.
inline constexpr std::int64_t kRestSeconds = 5;

/// What shows that a file has been written to, or that another one stands in its place.
struct FileState {
  std::uint64_t sizeBytes = 0;
  std::int64_t modifiedSeconds = 0;  ///< since 1970, UTC
  std::int64_t modifiedNanoseconds = 0;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// Of the last change of anything about the file, its name and rights included; no part of the
  /// comparison.
  std::int64_t changedSeconds = 0;
  std::int64_t changedNanoseconds = 0;
  bool operator==(const FileState& other) const {
    return sizeBytes == other.sizeBytes && modifiedSeconds == other.modifiedSeconds &&
           modifiedNanoseconds == other.modifiedNanoseconds && device == other.device &&
           inode == other.inode;
  }
};

/// The file as it lies there now; a link is followed, nothing is opened. Fails, with the reason
/// alone, for a file that cannot be reached and for anything that is no regular file.
[[nodiscard]] Result<FileState> stateOf(const std::string& path);
/// The same for a name in the folder behind the descriptor.
[[nodiscard]] Result<FileState> stateOf(int folder, const std::string& name);

/// How long the file has still to rest until `restSeconds` have gone by since its last change; 0
/// when they have. One that is dated in the future rests: its time tells nothing.
[[nodiscard]] std::int64_t secondsUntilRested(const FileState& state, std::int64_t now,
                                              std::int64_t restSeconds = kRestSeconds);

}  // namespace keldane
