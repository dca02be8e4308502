#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace keldane {

/// A file of this path may be a stub, whose attachments lie in other files.
[[nodiscard]] inline bool mayBeStub(std::string_view path) {
  return path.find("partial") != std::string_view::npos;
}

/// What the mail client keeps beside a message that it has stored as a stub: the attachments taken
/// out of `.partial.emlx` files, in a folder `Attachments` or in `.emlxpart` files. Puts them back
/// into the text where their names stand, and keeps them for the stubs that stay empty.
///
/// For example, `.../Messages/12.partial.emlx` has its parts in `.../Attachments/12/2/report.pdf`
/// and
/// `.../Messages/12.3.emlxpart`. All paths are made from the message file's own; names out of the
/// message are only compared. Symbolic links are not entered. One thread at a time.
class PartialFile {
 public:
  /// Begins the next file: the parts of the one before are gone.
  void forget();
  /// Reads the file of a part; a failure names it.
  using PartReader = std::function<Result<std::string>(const std::string& path)>;
  /// Mends the text of a message file. Nothing happens unless the file's name is that of a stub.
  /// Fails when a part, or a folder of parts, is there and cannot be read: `text` is then of no
  /// use.
  [[nodiscard]] Result<void> repair(const std::string& path, std::string& text,
                                    const PartReader& readPart);
  /// The next part that no stub has had. It belongs to the caller.
  [[nodiscard]] std::optional<std::string> takePart();

 private:
  Result<void> collectFolder(const std::string& folder, std::string& text,
                             const PartReader& readPart);
  Result<void> collectPartFiles(const std::string& folder, const std::string& number,
                                const PartReader& readPart);
  Result<void> listPartFiles(const std::string& folder);

  std::vector<std::string> partialParts_;
  std::size_t usedParts_ = 0;
  /// Names of the `.emlxpart` files of the folder looked into last, in order: a folder may hold
  /// thousands of stubs, and is read once for them all.
  std::string listedFolder_;
  std::vector<std::string> listedNames_;
};

/// Base64 in lines of that many characters, a multiple of four, parted by CR LF; no line end behind
/// the last.
[[nodiscard]] std::string base64Lines(std::string_view data, std::size_t lineLength);

/// Order of names in which the numbers they hold count as numbers, as the parts of a message do:
/// "2" before "10".
[[nodiscard]] bool numericLess(std::string_view a, std::string_view b);

}  // namespace keldane
