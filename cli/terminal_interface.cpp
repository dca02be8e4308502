#include "cli/terminal_interface.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/terminal_text.h"
#include "cli/text_table.h"

namespace keldane {

TerminalInterface::TerminalInterface()
    : canShowProgress_(::isatty(STDERR_FILENO) != 0 && terminalTakesEscapes()) {}

int TerminalInterface::alert(const Alert& alert) {
  clearLine();
  // "Archive Log" and its kind announce an end that the command prints itself.
  if (alert.style == AlertStyle::informational && !showsInformation) return kFirstButton;
  const std::string_view text = trimWhitespace(alert.text);
  std::fputs(fmt::format("{}: {}\n", alert.title, printable(text)).c_str(), stderr);
  return kFirstButton;
}

void TerminalInterface::progressStarted(std::string_view title) {
  started_ = std::chrono::steady_clock::now();
  if (!canShowProgress_ || quiet) return;
  clearLine();
  std::fputs(fitToWidth(title, terminalWidth(STDERR_FILENO) - 1).c_str(), stderr);
  std::fflush(stderr);
  lineShown_ = true;
}

void TerminalInterface::progressChanged(int count, std::string_view detail) {
  if (!canShowProgress_ || quiet) return;
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - started_;
  const double perSecond = count / std::max(passed.count(), 0.001);
  const std::string line =
      fmt::format("{} messages, {:.0f}/s  {}", count, perSecond, printable(detail));
  clearLine();
  std::fputs(fitToWidth(line, terminalWidth(STDERR_FILENO) - 1).c_str(), stderr);
  std::fflush(stderr);
  lineShown_ = true;
}

void TerminalInterface::progressEnded() { clearLine(); }

void TerminalInterface::showText(std::string_view title, std::string_view text) {
  std::fputs(fmt::format("{}\n{}", title, text).c_str(), stdout);
}

void TerminalInterface::clearLine() {
  if (!lineShown_) return;
  std::fputs("\r\x1b[K", stderr);
  lineShown_ = false;
}

}  // namespace keldane
