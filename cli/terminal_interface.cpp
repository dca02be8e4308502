#include "cli/terminal_interface.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/database_words.h"
#include "cli/terminal_text.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

/// Before that much is done, the rest cannot be guessed.
constexpr double kLeastShare = 0.01;
constexpr double kLeastSeconds = 2;

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string withCommas(std::size_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, ",");
  return digits;
}

std::string timeText(double seconds) {
  if (seconds < 60) return fmt::format("{:.0f} s", seconds);
  if (seconds < 5400) return fmt::format("{:.0f} min", seconds / 60);
  return fmt::format("{:.1f} h", seconds / 3600);
}

std::string leftText(double share, double seconds) {
  if (share < kLeastShare || share >= 1 || seconds < kLeastSeconds) return {};
  return ", about " + timeText(std::max(seconds * (1 - share) / share, 1.0)) + " left";
}

}  // namespace

std::string readingLine(const ReadingProgress& progress, double seconds) {
  std::string line =
      progress.allFiles == 1
          ? withCommas(static_cast<std::size_t>(progress.messages)) + " messages"
          : withCommas(progress.files) + " of " + withCommas(progress.allFiles) + " files";
  line += fmt::format(", {:.0f} %", std::floor(progress.share * 100));
  return line + leftText(progress.share, seconds);
}

std::string shareLine(std::size_t count, std::size_t all, double seconds) {
  const double share =
      all == 0 ? 1 : std::min(1.0, static_cast<double>(count) / static_cast<double>(all));
  return fmt::format("{} of {} messages, {:.0f}/s{}", withCommas(count), withCommas(all),
                     static_cast<double>(count) / std::max(seconds, 0.001),
                     leftText(share, seconds));
}

TerminalInterface::TerminalInterface(MainQueue& mainQueue)
    : QueuedProgress(mainQueue),
      canShowProgress_(::isatty(STDERR_FILENO) != 0 && terminalTakesEscapes()) {}

void TerminalInterface::tell(const Fault& fault) {
  clearLine();
  const std::string_view text = trimWhitespace(fault.text);
  if (isInterrupted != nullptr && isInterrupted() && text.starts_with("Failed to connect")) {
    std::fputs("keldane: interrupted before the archive was open; nothing is lost\n", stderr);
    return;
  }
  const std::string sentence =
      fault.about == Fault::About::server ? databaseSentence(text) : printable(text);
  std::fputs(fmt::format("keldane: {}\n", sentence).c_str(), stderr);
}

void TerminalInterface::progressStarted(std::string_view title) {
  started_ = std::chrono::steady_clock::now();
  readingShown_ = false;
  if (!canShowProgress_ || quiet) return;
  clearLine();
  std::fputs(fitToWidth(title, terminalWidth(STDERR_FILENO) - 1).c_str(), stderr);
  std::fflush(stderr);
  lineShown_ = true;
}

void TerminalInterface::showCount(int count, std::string_view detail) {
  if (!canShowProgress_ || quiet || readingShown_ || count == 0) return;
  const double perSecond = count / std::max(secondsSince(started_), 0.001);
  showLine(fmt::format("{} messages, {:.0f}/s  {}", count, perSecond, printable(detail)));
}

void TerminalInterface::showShare(std::size_t count, std::size_t all) {
  if (canShowProgress_ && !quiet) showLine(shareLine(count, all, secondsSince(started_)));
}

void TerminalInterface::showReading(const ReadingProgress& progress, std::string_view detail) {
  if (!canShowProgress_ || quiet) return;
  readingShown_ = true;
  showLine(readingLine(progress, secondsSince(started_)) + "  " + printable(detail));
}

void TerminalInterface::showLine(const std::string& text) {
  const std::string line = terminalIsPlain() ? plainText(text) : text;
  clearLine();
  std::fputs(fitToWidth(line, terminalWidth(STDERR_FILENO) - 1).c_str(), stderr);
  std::fflush(stderr);
  lineShown_ = true;
}

void TerminalInterface::notice(std::string_view line) {
  clearLine();
  std::fputs((std::string(line) + "\n").c_str(), stderr);
}

void TerminalInterface::progressEnded() { clearLine(); }

void TerminalInterface::stage(std::string_view title) {
  if (title.empty()) {
    progressEnded();
  } else {
    progressStarted(title);
  }
}

void TerminalInterface::clearLine() {
  if (!lineShown_) return;
  std::fputs("\r\x1b[K", stderr);
  lineShown_ = false;
}

}  // namespace keldane
