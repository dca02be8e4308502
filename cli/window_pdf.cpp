#include "cli/window_pdf.h"

#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/program.h"

namespace keldane {
namespace {

constexpr const char* kWindowProgram = "KeldanePro";
constexpr std::string_view kMark = "KeldanePro: ";
constexpr const char* kMissing =
    "PDFs are laid out by the window program KeldanePro, which is not here: install the package "
    "keldanepro, or build it with script/window";

/// Beside this program, as it is installed and as it is built; else wherever the PATH has it.
std::string findWindowProgram(const Environment& environment) {
  const std::string self = environment.executablePath();
  const std::string folder = self.substr(0, self.rfind('/') + 1);
  for (const char* place : {"", "../desktop/"}) {
    const std::string path = folder + place + kWindowProgram;
    if (::access(path.c_str(), X_OK) == 0) return path;
  }
  return kWindowProgram;
}

/// What it prints: a line for each message that is done, which is its number.
class CountReader {
 public:
  explicit CountReader(Progress& progress) : progress_(progress) {}
  bool take(std::string_view piece) {
    for (const char c : piece) {
      if (c != '\n') {
        line_ += c;
        continue;
      }
      done = leadingInt(line_);
      progress_.step(done, {});
      line_.clear();
    }
    return true;
  }
  int done = 0;

 private:
  Progress& progress_;
  std::string line_;
};

/// Its own lines, without those that the libraries of a window like to print.
std::vector<std::string> ownLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (line.starts_with(kMark)) lines.emplace_back(line.substr(kMark.size()));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

}  // namespace

Result<OutputReport> exportPdfByWindow(const PdfOrder& order, const std::vector<std::uint32_t>& ids,
                                       Progress& progress, Program& program) {
  ToolCall call;
  call.program = findWindowProgram(program.environment);
  call.arguments = {"--export-pdf=" + order.path};
  if (order.asText) call.arguments.emplace_back("--text");
  if (!order.connection.empty()) call.arguments.push_back("--connection=" + order.connection);
  if (!order.database.empty()) call.arguments.push_back("--database=" + order.database);
  for (const std::uint32_t id : ids) call.input += fmt::format("{}\n", id);
  CountReader counts(progress);
  const bool isPrinted = order.path == "-";
  call.takeOutput = [&](std::string_view piece) {
    if (!isPrinted) return counts.take(piece);
    return std::fwrite(piece.data(), 1, piece.size(), stdout) == piece.size();
  };
  call.cancelled = [&progress] { return progress.cancelled(); };
  const Result<ToolOutcome> outcome = program.tools.run(call);
  OutputReport report;
  report.cancelled = progress.cancelled();
  if (report.cancelled) return report;
  if (!outcome) return Failure{kMissing};
  const std::vector<std::string> lines = ownLines(outcome->errorText);
  if (outcome->exitStatus == 0) {
    for (const std::string& line : lines) program.terminal.notice(line);
    report.messages = isPrinted ? ids.size() : static_cast<std::size_t>(counts.done);
    return report;
  }
  if (!lines.empty()) return Failure{lines.back()};
  return Failure{fmt::format("KeldanePro ended with status {}: {}", outcome->exitStatus,
                             trimWhitespace(outcome->errorText))};
}

}  // namespace keldane
