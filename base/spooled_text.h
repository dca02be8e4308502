#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "base/files.h"

namespace keldane {

/// A text that only grows and may become large: its beginning moves to a temporary file without a
/// name, so that it takes half a megabyte of memory. Where the system refuses such a file the rest
/// stays in memory and nothing is lost. One thread at a time.
class SpooledText {
 public:
  SpooledText& append(std::string_view text);
  void clear();
  [[nodiscard]] std::size_t size() const { return fileBytes_ + tail_.size(); }
  /// Gives the text from its beginning on, in pieces. The text must live, and stay as it is, as
  /// long as the reader is used.
  [[nodiscard]] PieceReader reader() const;

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void moveTailToFile();

  std::unique_ptr<std::FILE, CloseFile> file_;
  std::size_t fileBytes_ = 0;
  std::string tail_;
  bool fileRefused_ = false;
};

}  // namespace keldane
