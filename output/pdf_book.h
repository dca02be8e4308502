#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "output/output_file.h"

namespace keldane {

/// A PDF that grows message by message: what has been added is in the file and no longer in memory,
/// but for some twenty bytes an object. Each message's pages get their number at the foot, the
/// message an entry in the list of contents, and the files that belong to it are embedded.
///
/// What comes in is a PDF that the program has laid out itself. Of it only the pages are taken, and
/// of what can be clicked on them only links to the web and to addresses of mail: an action of any
/// other kind stays behind.
class PdfBook {
 public:
  /// `file` is open, and is committed by whoever has opened it. `numbersThrough`: the pages are
  /// counted over all messages, too.
  PdfBook(OutputFile& file, bool numbersThrough);

  /// Appends the pages of `pdf` under `title`. Fails, with nothing more to come of the book, when
  /// that is no PDF, or the file would pass what the format can hold.
  [[nodiscard]] Result<void> addMessage(const std::string& pdf, const std::string& title);
  /// Embeds a file. `name` stays within its folder wherever it is taken out again; `note` says
  /// where it is from.
  void addFile(const std::string& name, const std::string& type, const std::string& note,
               std::string_view bytes);
  /// What stands behind all messages. `title`: of the document.
  [[nodiscard]] Result<void> finish(const std::string& title);

 private:
  class Copy;

  int reserve();
  void begin(int number);
  void put(std::string_view text);
  void putObject(int number, std::string_view text);
  void putOutline(int next);
  void putNames();
  Result<void> putPages(const std::string& pdf);

  OutputFile& file_;
  const bool numbersThrough_;
  std::uint64_t written_ = 0;
  std::vector<std::uint64_t> offsets_ = {0};  ///< of each object, by its number
  int catalog_ = 0;
  int pages_ = 0;     ///< the root of the tree of pages
  int outlines_ = 0;  ///< the root of the list of contents
  int pageCount_ = 0;
  std::vector<int> sections_;  ///< the pages of each message
  std::vector<int> names_;     ///< the leaves that name the embedded files
  std::vector<int> files_;     ///< those of the leaf at hand
  int fileCount_ = 0;
  int firstOutline_ = 0;
  int outline_ = 0;  ///< of the message added last, which waits for the one behind it
  int outlineBefore_ = 0;
  std::string outlineTitle_;
  int firstPage_ = 0;  ///< of the message added last
};

}  // namespace keldane
