#include "ingest/run_logs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr mode_t kMode = 0600;
constexpr std::size_t kLongestLine = 30000;
constexpr std::string_view kInvalid = "INVALID:";
constexpr std::string_view kParsed = "PARSED:";

bool isAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(),
                      [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

LogFile::~LogFile() { close(); }

void LogFile::openForAppend(const std::string& path) {
  close();
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, kMode);
  if (descriptor < 0) return;
  file_ = ::fdopen(descriptor, "a");
  if (file_ == nullptr) ::close(descriptor);
}

void LogFile::write(const std::string& line) {
  if (file_ == nullptr) return;
  std::fwrite(line.data(), 1, line.size(), file_);
  std::fflush(file_);
}

void LogFile::close() {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
}

std::string runSummary(const RunTotals& totals) {
  return fmt::format("Processed: {}\nArchived: {}\nDuplicates: {}\n", totals.processed,
                     totals.archived, totals.duplicates);
}

DebugLogTotals readDebugLog(const std::string& path) {
  DebugLogTotals totals;
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "r"));
  if (!file) return totals;
  const auto buffer = std::make_unique<std::array<char, kLongestLine>>();
  while (std::fgets(buffer->data(), static_cast<int>(buffer->size()), file.get()) != nullptr) {
    const std::string_view line(buffer->data());
    if (line.starts_with(kInvalid)) {
      // The word and the blank behind it.
      totals.invalidText.append(line.substr(std::min(line.size(), kInvalid.size() + 1)));
      ++totals.invalid;
    } else if (line.starts_with(kParsed)) {
      totals.parsed += leadingInt(line.substr(kParsed.size()));
    }
  }
  return totals;
}

std::string storeLogSummary(const RunTotals& totals, const DebugLogTotals& debugLog) {
  std::string summary = runSummary(totals);
  if (debugLog.invalid == 0) return summary;
  const std::string invalid =
      fmt::format("Invalid Files: {}\n", debugLog.invalid) + debugLog.invalidText;
  if (isAscii(invalid)) summary += invalid;
  return summary;
}

std::string pathForLogFile(const ProcessState& process, const std::string& name) {
  std::string path = supportFolder(process) + "/" + name;
  // What fails here shows when the file is read or written.
  static_cast<void>(makeFolders(supportFolder(process)));
  if (!fileExists(path)) LogFile().openForAppend(path);
  return path;
}

std::string dateDefaultText(std::int64_t secondsSince1970) {
  const auto moment = static_cast<std::time_t>(secondsSince1970);
  std::tm local{};
  ::localtime_r(&moment, &local);
  std::array<char, 64> text{};
  const std::size_t length =
      std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &local);
  return {text.data(), length};
}

bool rewriteRunLog(const std::string& path, const std::string& date, const RunTotals& totals) {
  std::string text = fmt::format("{}    Processed: {}    Archived: {}    Duplicates: {}\n", date,
                                 totals.processed, totals.archived, totals.duplicates);
  if (const Result<std::string> old = readFile(path)) text += *old;
  // As many bytes as the text has characters: lines of ours are ASCII, and a log that somebody has
  // put other characters into loses as much at its end.
  text.resize(utf16Length(text));
  return replaceFile(path, text, kMode).has_value();
}

bool rewriteDuplicatesLog(const std::string& path, const std::string& date,
                          const SpooledText& duplicateLogText) {
  const std::string heading = fmt::format(
      "During the {} archive, the following duplicate emails were found to already be in the "
      "database and were therefore skipped:\n\n",
      date);
  const PieceReader text = [&heading, headed = false, rest = duplicateLogText.reader()](
                               std::string_view& piece) mutable -> Result<bool> {
    if (std::exchange(headed, true)) return rest(piece);
    piece = heading;
    return true;
  };
  return replaceFile(path, text, kMode).has_value();
}

}  // namespace keldane
