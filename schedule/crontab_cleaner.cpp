#include "schedule/crontab_cleaner.h"

#include <cstdio>
#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kOurLines = "KeldanePro.app";
constexpr std::string_view kNoCrontab = "no crontab for";

void tell(const std::string& text) {
  std::fprintf(stderr, "crontab: %s\n", printable(text).c_str());
}

std::string withoutOurLines(std::string_view listing) {
  std::string lines;
  for (const std::string& line : split(listing, "\n")) {
    if (line.find(kOurLines) == std::string::npos) lines.append(line) += '\n';
  }
  // The last piece stands behind the last line end.
  if (!lines.empty()) lines.pop_back();
  return lines;
}

}  // namespace

CrontabCleaner::CrontabCleaner(ToolRunner& tools, const std::string& folder, std::string crontab)
    : tools_(tools),
      crontab_(std::move(crontab)),
      folder_(folder),
      copyPath_(folder + "/crontab.copy") {}

void CrontabCleaner::removeCrontab() {
  const std::optional<std::string> listing = list();
  if (!listing) return;
  const std::string lines = withRestOfCutOffWrite(withoutOurLines(*listing));
  if (keepCopy(lines)) write(lines);
}

std::optional<std::string> CrontabCleaner::list() {
  Result<ToolOutcome> outcome = tools_.run({crontab_, {"-l"}, ".", ""});
  if (!outcome) return std::nullopt;
  const bool none = outcome->errorText.find(kNoCrontab) != std::string::npos;
  if (outcome->exitStatus != 0 && !none) return std::nullopt;
  return std::move(outcome->output);
}

std::string CrontabCleaner::withRestOfCutOffWrite(std::string lines) const {
  Result<std::string> copy = readFile(copyPath_);
  if (!copy || *copy == lines) return lines;
  if (copy->starts_with(lines)) return std::move(*copy);
  // Somebody has written other lines since; who, and whether he meant to, is not ours to say.
  std::string aside;
  int number = 1;
  do {
    aside = copyPath_ + "-" + std::to_string(number++);
  } while (fileExists(aside));
  if (std::rename(copyPath_.c_str(), aside.c_str()) == 0) {
    tell("lines of a write that was cut off are kept in " + aside);
  }
  return lines;
}

bool CrontabCleaner::keepCopy(const std::string& lines) const {
  if (lines.empty()) return true;
  Result<void> kept = makeFolders(folder_);
  if (kept) kept = replaceFile(copyPath_, lines);
  if (!kept) tell("left as it is: " + kept.error());
  return kept.has_value();
}

void CrontabCleaner::dropCopy() const { std::remove(copyPath_.c_str()); }

void CrontabCleaner::write(const std::string& lines) {
  const Result<ToolOutcome> outcome = tools_.run({crontab_, {"-"}, ".", lines});
  if (outcome && outcome->exitStatus == 0) {
    dropCopy();
    return;
  }
  // Refused, as a rule, with the old crontab in its place.
  const std::optional<std::string> listing = list();
  if (listing && withoutOurLines(*listing) == lines) {
    dropCopy();
  } else if (!lines.empty()) {
    tell("it could not be written; its lines are kept in " + copyPath_);
  }
}

}  // namespace keldane
