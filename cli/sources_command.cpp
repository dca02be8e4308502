#include <algorithm>
#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/sources_find.h"
#include "cli/sources_folders.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

/// What the archive's lists of sources hold of a name, in characters.
constexpr std::size_t kLongestAccount = 127;
constexpr std::size_t kLongestMailbox = 255;

struct SourcesOptions {
  std::vector<std::string> names;
  bool mailboxes = false;
  bool json = false;
};

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

const std::vector<std::string>& chosenNames(const Settings& settings, bool mailboxes) {
  return mailboxes ? settings.selectedMailboxes : settings.selectedAccounts;
}

Archiver* connected(Program& program, Opening opening) {
  Archiver* archiver = program.connected("", "", opening);
  if (archiver == nullptr) program.exitStatus = kExitFailed;
  return archiver;
}

/// Fills the table with accounts or mailboxes. False, and a message, when there is none to fill.
bool fillRows(bool mailboxes, Archiver& archiver, Program& program) {
  if (archiver.settings().archive.postbox != 0) {
    program.exitStatus = program.fail(
        "the settings name a mail client whose accounts cannot be listed; `keldane settings set "
        "postbox applemail` goes back");
    return false;
  }
  Settings& settings = archiver.settings();
  settings.archive.mailboxesState = mailboxes ? 1 : 0;
  // That the mail application does not answer shows in the rows.
  if (!mailboxes) {
    archiver.sources().loadAccountRows();
  } else {
    program.terminal.progressStarted("Looking for mailboxes...");
    archiver.sources().getMailboxNames();
    program.terminal.progressEnded();
  }
  return true;
}

struct Source {
  std::string name;
  std::string id;
  bool chosen = false;
  bool found = true;
};

std::vector<Source> sourcesOf(Archiver& archiver, bool mailboxes) {
  const std::vector<std::string>& chosen = chosenNames(archiver.settings(), mailboxes);
  const std::vector<AcctsRow>& rows = archiver.sources().acctRows;
  const std::vector<AcctsRow>& shown = archiver.sources().shownRows();
  std::vector<Source> sources;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    sources.push_back({shown[i].acctDesc, rows[i].acctDesc, contains(chosen, rows[i].acctDesc)});
  }
  for (const std::string& name : chosen) {
    const bool listed = std::any_of(rows.begin(), rows.end(),
                                    [&name](const AcctsRow& row) { return row.acctDesc == name; });
    if (!listed) sources.push_back({name, name, true, false});
  }
  return sources;
}

void printSources(const std::vector<Source>& sources, bool mailboxes) {
  for (const Source& source : sources) {
    printJson({{"kind", mailboxes ? "mailbox" : "account"},
               {"name", source.name},
               {"id", source.id},
               {"chosen", source.chosen},
               {"found", source.found}});
  }
}

void listSources(const SourcesOptions& options, Program& program) {
  Archiver* archiver = connected(program, Opening::ifThere);
  if (archiver == nullptr) return;
  // Looking at the one kind changes nothing in what a run goes by.
  const bool runTakesMailboxes = archiver->settings().archive.mailboxesState != 0;
  if (!fillRows(options.mailboxes, *archiver, program)) return;
  const std::vector<Source> sources = sourcesOf(*archiver, options.mailboxes);
  const std::vector<MailFolder>& folders = archiver->settings().user.mailFolders;
  if (options.json) {
    printSources(sources, options.mailboxes);
    printMailFoldersJson(folders);
    return;
  }
  if (sources.empty() && !folders.empty()) return printMailFolders(folders);
  if (sources.empty()) {
    std::fputs(
        fmt::format("No {} found below {}\n", options.mailboxes ? "mailboxes" : "accounts",
                    printable(archiver->process().homePath + archiver->process().mailRootSuffix))
            .c_str(),
        stdout);
    return;
  }
  std::vector<std::vector<std::string>> rows;
  for (const Source& source : sources) {
    rows.push_back(
        {source.chosen ? "*" : "", source.name, source.found ? source.id : "no longer there"});
  }
  const std::size_t width = outputWidth();
  const std::string title = options.mailboxes ? "MAILBOX" : "ACCOUNT";
  std::fputs(
      formatTable({{"", false, 0}, {title, false, 0}, {"ID", false, 0}}, rows, width).c_str(),
      stdout);
  if (runTakesMailboxes != options.mailboxes) {
    std::fputs(fmt::format("A run goes by the chosen {}; `keldane sources choose` changes that.\n",
                           runTakesMailboxes ? "mailboxes" : "accounts")
                   .c_str(),
               stdout);
  }
  if (folders.empty()) return;
  std::fputs("\n", stdout);
  printMailFolders(folders);
}

/// The row that this name means. Absent, and a message, when there is none, or more than one.
std::optional<std::size_t> rowNamed(const std::string& name, bool mailboxes, Archiver& archiver,
                                    Program& program) {
  const std::vector<AcctsRow>& rows = archiver.sources().acctRows;
  const std::vector<AcctsRow>& shown = archiver.sources().shownRows();
  std::vector<std::size_t> matches;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].acctDesc == name) return i;
    if (shown[i].acctDesc == name) matches.push_back(i);
  }
  if (matches.size() == 1) return matches.front();
  const char* kind = mailboxes ? "mailbox" : "account";
  program.exitStatus = program.fail(
      matches.empty()
          ? fmt::format("there is no {} \"{}\"; `keldane sources list{}` shows what there is", kind,
                        printable(name), mailboxes ? " --mailboxes" : "")
          : fmt::format("more than one {} is called \"{}\"; give its id", kind, printable(name)));
  return std::nullopt;
}

void save(Archiver& archiver, Program& program) {
  if (!program.tell(archiver.settings().savePreferences())) program.exitStatus = kExitFailed;
}

void chooseSources(const SourcesOptions& options, Program& program) {
  Archiver* archiver = connected(program, Opening::create);
  if (archiver == nullptr || !fillRows(options.mailboxes, *archiver, program)) return;
  const std::size_t longest = options.mailboxes ? kLongestMailbox : kLongestAccount;
  std::vector<std::size_t> rows;
  for (const std::string& name : options.names) {
    const auto row = rowNamed(name, options.mailboxes, *archiver, program);
    if (!row) return;
    if (utf16Length(archiver->sources().acctRows[*row].acctDesc) > longest) {
      program.exitStatus = program.fail(fmt::format(
          "\"{}\" cannot be kept: it has more than {} characters", printable(name), longest));
      return;
    }
    if (std::find(rows.begin(), rows.end(), *row) == rows.end()) rows.push_back(*row);
  }
  MailSources& sources = archiver->sources();
  sources.setAllChecks(false);
  for (const std::size_t row : rows) sources.setCheck(row, true);
  sources.chooseCheckedRows();
  save(*archiver, program);
}

void clearSources(Program& program) {
  Archiver* archiver = connected(program, Opening::create);
  if (archiver == nullptr) return;
  archiver->settings().selectedAccounts.clear();
  archiver->settings().selectedMailboxes.clear();
  save(*archiver, program);
}

}  // namespace

Command sourcesCommand(Program& program) {
  auto options = std::make_shared<SourcesOptions>();
  return {.name = "sources",
          .help = "The mail that a run without paths archives: of the mail client, and of folders",
          .commands = {
              sourcesFindCommand(program),
              {.name = "list",
               .help = "Show what there is, and the folders that are kept; * marks what is chosen",
               .options = {{"--mailboxes", &options->mailboxes, "Mailboxes in place of accounts"},
                           {"--json", &options->json, "One JSON object a line"}},
               .run = [options, &program] { listSources(*options, program); }},
              sourcesAddCommand(program),
              sourcesRemoveCommand(program),
              {.name = "choose",
               .help = "Choose these accounts, and no others. Of an account a run archives the in "
                       "boxes and "
                       "the sent boxes; of mailboxes, whatever is chosen",
               .options = {{.names = "NAME",
                            .target = &options->names,
                            .help = "Names or ids, as `sources list` shows them",
                            .required = true},
                           {"--mailboxes", &options->mailboxes, "The names are of mailboxes"}},
               .run = [options, &program] { chooseSources(*options, program); }},
              {.name = "clear", .help = "Choose no account and no mailbox", .run = [&program] {
                 clearSources(program);
               }}}};
}

}  // namespace keldane
