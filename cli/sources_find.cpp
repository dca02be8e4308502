#include "cli/sources_find.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "ingest/sources/mail_finder.h"
#include "query/statistics.h"

namespace keldane {
namespace {

class FindProgress : public Progress {
 public:
  explicit FindProgress(TerminalInterface& terminal) : terminal_(terminal) {}
  void stage(std::string_view title) override { terminal_.stage(title); }
  [[nodiscard]] bool cancelled() const override { return interruptCount() > 0; }

 private:
  TerminalInterface& terminal_;
};

std::string sizeText(std::uint64_t bytes) {
  if (bytes < 1000) return fmt::format("{} B", bytes);
  constexpr std::string_view kUnits[] = {"kB", "MB", "GB", "TB"};
  auto size = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  while (size >= 999.95 && unit + 1 < std::size(kUnits)) {
    size /= 1000;
    ++unit;
  }
  return fmt::format("{:.1f} {}", size, kUnits[unit]);
}

std::string messagesText(const FoundMail& mail) {
  if (mail.isUncounted) return "?";
  const std::string number = groupedNumber(static_cast<long long>(mail.messages));
  return mail.isEstimate ? "about " + number : number;
}

void printJsonLines(const FoundSources& found) {
  std::size_t number = 0;
  for (const FoundMail& mail : found.mail) {
    nlohmann::ordered_json line{{"number", ++number},       {"kind", mailKindName(mail.kind)},
                                {"name", mail.folder.name}, {"path", mail.folder.path},
                                {"messages", nullptr},      {"estimated", mail.isEstimate},
                                {"size", mail.sizeBytes},   {"advice", mail.advice}};
    if (!mail.isUncounted) line["messages"] = mail.messages;
    printJson(line);
  }
}

void printTable(const FoundSources& found) {
  std::vector<std::vector<std::string>> rows;
  for (const FoundMail& mail : found.mail) {
    rows.push_back({std::to_string(rows.size() + 1), std::string(mailKindName(mail.kind)),
                    mail.folder.name, messagesText(mail), sizeText(mail.sizeBytes),
                    mail.folder.path});
  }
  std::fputs(formatTable({{"N", true, 0},
                          {"KIND", false, 0},
                          {"NAME", false, 0},
                          {"MESSAGES", true, 0},
                          {"SIZE", true, 0},
                          {.title = "PLACE", .neverCut = true}},
                         std::move(rows), outputWidth())
                 .c_str(),
             stdout);
  std::size_t number = 0;
  for (const FoundMail& mail : found.mail) {
    ++number;
    if (mail.canBeKept()) continue;
    std::fputs(fmt::format("{}: {}\n", number, mail.advice).c_str(), stdout);
  }
}

void findSources(bool json, Program& program) {
  const std::string& home = program.archiver().process().homePath;
  watchInterrupts();
  FindProgress progress(program.terminal);
  progress.stage("Looking for mail...");
  const FoundSources found = findMail(mailPlacesOf(home, program.environment), progress);
  progress.stage("");
  if (json) {
    printJsonLines(found);
  } else if (found.mail.empty()) {
    std::fputs(fmt::format("No mail found below {}\n", printable(home)).c_str(), stdout);
  } else {
    printTable(found);
  }
  for (const UnreadPlace& place : found.unread) {
    program.terminal.notice(
        fmt::format("keldane: cannot read {}: {}", printable(place.path), place.reason));
  }
  if (progress.cancelled()) program.exitStatus = kExitInterrupted;
}

}  // namespace

Command sourcesFindCommand(Program& program) {
  auto json = std::make_shared<bool>(false);
  return {.name = "find",
          .help =
              "Show what mail lies on this machine: that of mail programs, of the system, and "
              "what lies exported in Downloads",
          .more =
              "Reads only, and looks only where mail programs keep theirs. `MAIL` names the "
              "system's mailbox where it is in another place than usual.",
          .options = {{"--json", json.get(), "One JSON object a line"}},
          .run = [json, &program] { findSources(*json, program); }};
}

}  // namespace keldane
