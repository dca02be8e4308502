#pragma once

#include <cstddef>
#include <string>

namespace keldane {

/// What the options of every command say of the output.
struct OutputStyle {
  bool noPager = false;
  std::string color = "auto";  ///< or "always", "never"
};

/// Shows what the program prints from now on in the user's pager: what $PAGER names, else `less
/// -R`. Only when standard output is a terminal; with $PAGER empty or "cat", when the style wants
/// none, or when no pager can be started, the output goes straight to the terminal. Make it when
/// the result is at hand, print with stdio to `stdout`, and let it go: the destructor flushes and
/// waits until the user has left the pager. A pager left early ends nothing: what is printed then
/// is lost in silence, and the program's own end runs as always.
///
/// One at a time, main thread. While it lives the program takes no notice of Ctrl-C and of a closed
/// pipe, which belong to the pager.
class Pager {
 public:
  /// `wanted` false: for output that is meant for another program (JSON), nothing is done.
  explicit Pager(const OutputStyle& style, bool wanted = true);
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  /// Columns to fit a table into; 0 when standard output is no terminal, and nothing is to be cut.
  [[nodiscard]] std::size_t width() const { return width_; }
  /// Whether colour may be used: as the style says, and when it leaves the choice, on a terminal
  /// that is not "dumb" and without NO_COLOR set.
  [[nodiscard]] bool color() const { return color_; }

 private:
  void start(const std::string& command);

  std::size_t width_ = 0;
  bool color_ = false;
  int childProcess_ = -1;
  int terminalCopy_ = -1;  ///< the standard output as it was
  void (*interruptBefore_)(int) = nullptr;
  void (*pipeBefore_)(int) = nullptr;
};

}  // namespace keldane
