#include "platform/desktop_host_services.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMailIdentifier = "com.apple.mail";
constexpr std::string_view kMailProgram = "/Mail.app/Contents/MacOS/Mail";

constexpr const char* kNotifyScript =
    "on run argv\n"
    "display notification (item 2 of argv) with title (item 1 of argv) sound name \"default\"\n"
    "end run\n";
constexpr const char* kQuitScript =
    "on run argv\n"
    "tell application id (item 1 of argv) to quit\n"
    "end run\n";
// Asks an application that runs; one that does not run is not started for it.
constexpr const char* kAskMailScript =
    "if application id \"com.apple.mail\" is running then\n"
    "tell application id \"com.apple.mail\" to count accounts\n"
    "end if\n";
constexpr const char* kAccountNamesScript =
    "tell application \"Mail\" to get name of every account";

bool isNumber(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// A path that no tool takes for an option or an address.
std::string plainPath(const std::string& path) {
  return path.starts_with('/') ? path : "./" + path;
}

/// Notifications are shown with a little markup.
std::string withoutMarkup(std::string text) {
  replaceAll(text, "&", "&amp;");
  replaceAll(text, "<", "&lt;");
  replaceAll(text, ">", "&gt;");
  return text;
}

std::string quotedForScript(std::string text) {
  replaceAll(text, "\\", "\\\\");
  replaceAll(text, "\"", "\\\"");
  std::string quoted = "\"";
  return quoted.append(text).append("\"");
}

std::string executableOf(const std::string& processFolder) {
  std::string path(PATH_MAX, '\0');
  const ssize_t length = ::readlink((processFolder + "/exe").c_str(), path.data(), path.size());
  if (length <= 0) return {};
  path.resize(static_cast<std::size_t>(length));
  // A program whose file was replaced by an update runs on under its old name.
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
  return path;
}

/// What stands behind the program's own name.
std::string firstArgumentOf(const std::string& processFolder) {
  const Result<std::string> line = readFile(processFolder + "/cmdline");
  const std::vector<std::string> words =
      line ? split(*line, std::string_view("\0", 1)) : std::vector<std::string>();
  return words.size() < 2 ? std::string() : words[1];
}

bool isOurs(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && status.st_uid == ::geteuid();
}

/// The folder that Mail answers with, without the word for its kind.
std::string folderText(std::string_view answer) {
  answer = trimWhitespace(answer);
  for (const std::string_view kind : {"alias ", "file "}) {
    if (answer.starts_with(kind)) answer.remove_prefix(kind.size());
  }
  return std::string(answer);
}

}  // namespace

#ifdef __APPLE__
DesktopHostServices::DesktopHostServices(ToolRunner& tools)
    : DesktopHostServices(tools, Desktop::mac, "") {}
#elif defined(__linux__)
DesktopHostServices::DesktopHostServices(ToolRunner& tools)
    : DesktopHostServices(tools, Desktop::freedesktop, "/proc") {}
#else
DesktopHostServices::DesktopHostServices(ToolRunner& tools)
    : DesktopHostServices(tools, Desktop::freedesktop, "") {}
#endif

DesktopHostServices::DesktopHostServices(ToolRunner& tools, Desktop desktop,
                                         std::string processFolder)
    : tools_(tools), desktop_(desktop), processFolder_(std::move(processFolder)) {}

Result<std::string> DesktopHostServices::runScript(const std::string& script,
                                                   std::vector<std::string> arguments) const {
  // The script comes on the standard input: what follows the "-" cannot be taken for an option.
  arguments.insert(arguments.begin(), "-");
  const Result<ToolOutcome> outcome = tools_.run({"osascript", std::move(arguments), "", script});
  if (!outcome) return Failure{outcome.error()};
  if (outcome->exitStatus != 0) {
    return Failure{"osascript: " + std::string(trimWhitespace(outcome->errorText))};
  }
  return outcome->output;
}

void DesktopHostServices::notify(const std::string& title, const std::string& text) {
  if (desktop_ == Desktop::mac) {
    static_cast<void>(runScript(kNotifyScript, {title, text}));
    return;
  }
  static_cast<void>(tools_.run(
      {"notify-send", {"--app-name=Keldane Pro", "--", title, withoutMarkup(text)}, "", ""}));
}

Result<void> DesktopHostServices::openFile(const std::string& path) {
  if (desktop_ == Desktop::mac) {
    const Result<ToolOutcome> outcome = tools_.run({"open", {plainPath(path)}, "", ""});
    if (!outcome) return Failure{outcome.error()};
    if (outcome->exitStatus != 0) {
      return Failure{"open: " + std::string(trimWhitespace(outcome->errorText))};
    }
    return {};
  }
  // Where no desktop is at hand to pass the file to, xdg-open runs the application itself and stays
  // until that is closed.
  const Result<int> started =
      tools_.startDetached({"xdg-open", {plainPath(path)}, "", ""}, "/dev/null");
  if (!started) return Failure{started.error()};
  return {};
}

std::vector<RunningApplication> DesktopHostServices::runningApplications() const {
  return processFolder_.empty() ? applicationsFromPs() : applicationsInFolder();
}

std::vector<RunningApplication> DesktopHostServices::applicationsInFolder() const {
  std::vector<RunningApplication> found;
  std::error_code failed;
  for (fs::directory_iterator entry(processFolder_, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    const std::string name = entry->path().filename().string();
    const std::string folder = entry->path().string();
    if (!isNumber(name) || !isOurs(folder)) continue;
    const std::string executable = executableOf(folder);
    if (executable.empty()) continue;
    found.push_back({std::string(lastPathComponent(executable)), "", leadingInt(name),
                     firstArgumentOf(folder)});
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.processId < b.processId; });
  return found;
}

std::vector<RunningApplication> DesktopHostServices::applicationsFromPs() const {
  std::vector<RunningApplication> found;
  const Result<ToolOutcome> outcome = tools_.run({"ps", {"-x", "-o", "pid=,comm="}, "", ""});
  if (!outcome || outcome->exitStatus != 0) return found;
  for (const std::string& line : split(outcome->output, "\n")) {
    const std::string_view row = trimWhitespace(line);
    const std::size_t blank = row.find(' ');
    if (blank == std::string_view::npos) continue;
    const std::string_view program = trimWhitespace(row.substr(blank));
    // ps knows no bundles; the mail application is the one that is asked for by its identifier.
    found.push_back({std::string(lastPathComponent(program)),
                     program.ends_with(kMailProgram) ? kMailIdentifier : "", leadingInt(row)});
  }
  return found;
}

void DesktopHostServices::terminateApplication(const RunningApplication& application) {
  if (desktop_ == Desktop::mac && !application.bundleIdentifier.empty()) {
    static_cast<void>(runScript(kQuitScript, {application.bundleIdentifier}));
    return;
  }
  // Numbers below 2 are whole groups of processes, or the first of all.
  if (application.processId > 1) ::kill(application.processId, SIGTERM);
}

Result<std::vector<MailAccount>> DesktopHostServices::mailAccounts() {
  if (desktop_ != Desktop::mac) return Failure{"the mail application cannot be asked here"};
  const Result<ToolOutcome> names =
      tools_.run({"osascript", {"-s", "s", "-e", kAccountNamesScript}, "", ""});
  if (!names) return Failure{names.error()};
  if (names->exitStatus != 0) {
    return Failure{"osascript: " + std::string(trimWhitespace(names->errorText))};
  }
  std::vector<MailAccount> accounts;
  for (std::string& name : appleScriptTexts(names->output)) {
    const Result<std::string> folder = runScript(
        "tell application \"Mail\" to get account directory of account " + quotedForScript(name),
        {});
    if (folder) accounts.push_back({std::move(name), folderText(*folder)});
  }
  return accounts;
}

void DesktopHostServices::requestMailAutomation() {
  if (desktop_ == Desktop::mac) static_cast<void>(runScript(kAskMailScript, {}));
}

std::vector<std::string> appleScriptTexts(std::string_view list) {
  std::vector<std::string> texts;
  std::string text;
  bool inText = false;
  for (std::size_t at = 0; at < list.size(); ++at) {
    const char c = list[at];
    if (!inText) {
      inText = c == '"';
    } else if (c == '\\' && at + 1 < list.size()) {
      text += list[++at];
    } else if (c == '"') {
      texts.push_back(std::move(text));
      text.clear();
      inText = false;
    } else {
      text += c;
    }
  }
  return texts;
}

}  // namespace keldane
