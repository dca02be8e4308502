#pragma once

#include <string>
#include <string_view>

#include "output/output_file.h"

namespace keldane {

/// One piece of a UTF-16 file, with a byte-order mark at its head: a line of a table, a message. It
/// goes into the file as it comes, and is never in memory as a whole.
class Utf16Piece {
 public:
  explicit Utf16Piece(OutputFile& file) : file_(file) {}
  /// Writes what is left of it.
  ~Utf16Piece() { flush(); }
  Utf16Piece(const Utf16Piece&) = delete;
  Utf16Piece& operator=(const Utf16Piece&) = delete;

  /// Adds a text that ends between characters.
  void add(std::string_view text);

 private:
  void flush();

  OutputFile& file_;
  std::string text_;
  bool isBegun_ = false;
};

}  // namespace keldane
