#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/result.h"

/// Mail inside of packed files: gzip, bzip2, xz, zstd, zip and tar, and one within the other.
namespace keldane {

/// What a packed file may cost. A file made to burst its reader ends at one of these.
struct PackedLimits {
  std::size_t entries = 1000000;
  int depth = 3;  ///< packed files in packed files
  /// All that is unpacked, at every depth, against the size of the file itself.
  std::uint64_t ratio = 1000;
  /// A small file may unpack to so much whatever its ratio.
  std::uint64_t freeBytes = std::uint64_t{16} << 20U;
  std::uint64_t entryBytes = std::uint64_t{1} << 40U;
};

/// A file inside of a packed one.
struct PackedEntry {
  /// Its path inside, for showing and naming alone: no "..", nothing before the first name, no
  /// control characters. Of a file that packs a single one without its name: the packed file's name
  /// without its ending.
  std::string name;
  /// Its first bytes, at most `kPackedBeginningBytes`; valid for the call.
  std::string_view beginning;
  /// All of its bytes, the first ones again included, in pieces. Need not be read to the end.
  PieceReader read;
};

inline constexpr std::size_t kPackedBeginningBytes = 65536;

/// Reads a packed file as a stream: nothing is written to disk, and memory is that of the
/// decompressors, whatever the file holds.
class PackedFile {
 public:
  struct Visitor {
    /// Gets each file in turn. False stops.
    std::function<bool(const PackedEntry& entry)> visit;
    /// Told of an entry that is not handed on, and why: encrypted, a packed file that lies too
    /// deep.
    std::function<void(const std::string& name, const std::string& reason)> skipped;
  };

  explicit PackedFile(std::string path, PackedLimits limits = {});

  /// Whether a file that begins so is packed in a way that is read here.
  [[nodiscard]] static bool isPacked(std::string_view beginning);

  /// Goes through all entries. Fails, with the entry at which it stopped in the reason, for a file
  /// that is damaged, cut off, or beyond a limit; what was handed on before stays valid. A visitor
  /// that stops is no failure.
  [[nodiscard]] Result<void> read(const Visitor& visitor);

 private:
  class Level;

  [[nodiscard]] Result<void> readLevel(Level& level, const std::string& prefix, int depth);
  [[nodiscard]] Result<void> readEntry(Level& level, const std::string& name, int depth);
  [[nodiscard]] Result<void> charge(std::size_t bytes);

  std::string path_;
  PackedLimits limits_;
  const Visitor* visitor_ = nullptr;
  bool isStopped_ = false;
  std::size_t entries_ = 0;
  std::uint64_t budgetBytes_ = 0;
};

}  // namespace keldane
