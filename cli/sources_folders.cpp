#include "cli/sources_folders.h"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "ingest/sources/mail_finder.h"
#include "settings/mail_folders.h"

namespace keldane {
namespace {

constexpr unsigned kMostFound = 99999;

struct FolderOptions {
  std::string path;
  std::string name;
  std::optional<unsigned> found;
};

/// Looks for the entry of `sources find` anew: what is listed there is kept nowhere.
Result<MailFolder> foundFolder(unsigned number, Program& program) {
  watchInterrupts();
  program.terminal.stage("Looking for mail...");
  const FoundSources found = findMail(
      mailPlacesOf(program.archiver().process().homePath, program.environment), program.terminal);
  program.terminal.stage("");
  if (interruptCount() > 0) return Failure{"interrupted; nothing was added"};
  if (number > found.mail.size()) {
    return Failure{fmt::format("`keldane sources find` lists {} places, so there is no {}",
                               found.mail.size(), number)};
  }
  const FoundMail& mail = found.mail[number - 1];
  if (!mail.canBeKept()) return Failure{printable(mail.folder.path) + ": " + mail.advice};
  return mail.folder;
}

void add(const FolderOptions& options, Program& program) {
  Settings& settings = program.archiver().settings();
  MailFolder wanted{options.name, options.path};
  if (options.found) {
    Result<MailFolder> found = foundFolder(*options.found, program);
    if (!found) {
      program.exitStatus = program.fail(found.error());
      if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
      return;
    }
    wanted.path = found->path;
    if (options.name.empty()) wanted.name = freeName(found->name, settings.user.mailFolders);
  }
  const Result<MailFolder> added =
      settings.addMailFolder(wanted, program.archiver().process().homePath);
  if (!added) {
    program.exitStatus = program.fail(added.error());
    return;
  }
  fmt::print("Added {}: {}\n", printable(added->name), printable(added->path));
}

void remove(const std::string& nameOrPath, Program& program) {
  Settings& settings = program.archiver().settings();
  const MailFolder* found = findMailFolder(settings.user.mailFolders, nameOrPath);
  if (found == nullptr) {
    program.exitStatus = program.fail(
        fmt::format("no folder or file \"{}\" is kept as a source; `keldane sources list` shows "
                    "them, and `keldane sources choose` is for accounts and mailboxes",
                    printable(nameOrPath)));
    return;
  }
  const MailFolder folder = *found;
  if (const Result<void> removed = settings.removeMailFolder(folder); !removed) {
    program.exitStatus = program.fail(removed.error());
    return;
  }
  fmt::print("Removed {}: {}\n", printable(folder.name), printable(folder.path));
}

}  // namespace

Command sourcesAddCommand(Program& program) {
  auto options = std::make_shared<FolderOptions>();
  return {
      .name = "add",
      .help =
          "Keep a folder or file of mail as a source. A run without paths archives it too, "
          "behind the chosen accounts, whatever the days of its mail; nothing in it is "
          "changed or removed",
      .options = {{.names = "PATH",
                   .target = &options->path,
                   .help = "The folder, or an mbox",
                   .value = "PATH",
                   .excludes = {"--found"}},
                  {.names = "--name",
                   .target = &options->name,
                   .help = "What it is called, and its messages' mailboxes begin with; else the "
                           "last part of its path",
                   .value = "NAME"},
                  {.names = "--found",
                   .target = numberInto(options->found, 1, kMostFound),
                   .help = "In place of a path: this entry of `sources find`",
                   .value = "N"}},
      .oneOf = {"PATH", "--found"},
      .run = [options, &program] { add(*options, program); }};
}

Command sourcesRemoveCommand(Program& program) {
  auto name = std::make_shared<std::string>();
  return {.name = "remove",
          .help =
              "Keep a folder or file no longer as a source; its mail stays on the disk and in "
              "the archive",
          .options = {{.names = "NAME",
                       .target = name.get(),
                       .help = "Its name or its path, as `sources list` shows them",
                       .required = true}},
          .run = [name, &program] { remove(*name, program); }};
}

void printMailFolders(const std::vector<MailFolder>& folders) {
  std::vector<std::vector<std::string>> rows;
  for (const MailFolder& folder : folders) {
    rows.push_back({isThere(folder) ? "*" : "", folder.name,
                    folder.path + (isThere(folder) ? "" : " (not there at the moment)")});
  }
  std::fputs(
      formatTable({{"", false, 0}, {"FOLDER", false, 0, true}, {.title = "PATH", .neverCut = true}},
                  std::move(rows), outputWidth())
          .c_str(),
      stdout);
}

void printMailFoldersJson(const std::vector<MailFolder>& folders) {
  for (const MailFolder& folder : folders) {
    printJson({{"kind", "folder"},
               {"name", folder.name},
               {"id", folder.path},
               {"chosen", true},
               {"found", isThere(folder)}});
  }
}

}  // namespace keldane
