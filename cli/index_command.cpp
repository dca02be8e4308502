#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/index_access.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/terminal_text.h"

namespace keldane {
namespace {

struct IndexOptions {
  std::string connection;
  std::string database;
  bool json = false;
  std::string stem;
};

/// The index in step with the archive; null after a failure, which has been told.
std::unique_ptr<IndexAccess> openIndex(const IndexOptions& options, bool rebuild,
                                       Program& program) {
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return nullptr;
  }
  Result<std::unique_ptr<IndexAccess>> access = IndexAccess::open(*archiver, program);
  const Result<void> updated =
      access ? (*access)->update(rebuild, program, options.stem) : Failure{access.error()};
  if (updated) return std::move(*access);
  program.exitStatus = failIndex(updated.error(), program);
  return nullptr;
}

void runUpdate(const IndexOptions& options, bool rebuild, Program& program) {
  const std::unique_ptr<IndexAccess> access = openIndex(options, rebuild, program);
  if (!access) return;
  const CatchUpOutcome& outcome = access->outcome();
  const Result<std::uint32_t> count = access->index().count();
  if (!count) {
    program.exitStatus = program.fail(count.error());
    return;
  }
  if (options.json) {
    printJson({{"messages", *count},
               {"added", outcome.added},
               {"removed", outcome.removed},
               {"retagged", outcome.retagged},
               {"moved", outcome.moved},
               {"behind", outcome.behind},
               {"folder", access->index().folder()}});
    return;
  }
  std::fputs(fmt::format("{} messages in the word index: {} added, {} removed, tags of {} "
                         "changed.\n",
                         *count, outcome.added, outcome.removed, outcome.retagged)
                 .c_str(),
             stdout);
}

void runFailures(const IndexOptions& options, Program& program) {
  const std::unique_ptr<IndexAccess> access = openIndex(options, false, program);
  if (!access) return;
  const Result<std::vector<WordIndex::Failed>> failures = access->index().failures();
  if (!failures) {
    program.exitStatus = program.fail(failures.error());
    return;
  }
  auto list = nlohmann::ordered_json::array();
  for (const WordIndex::Failed& failed : *failures) {
    list.push_back({{"id", failed.id},
                    {"attachment", failed.failure.name},
                    {"reason", failed.failure.reason}});
    if (options.json) continue;
    const std::string line =
        fmt::format("{}\t{}\t{}\n", failed.id, failed.failure.name, failed.failure.reason);
    std::fputs(terminalText(line).c_str(), stdout);
  }
  if (options.json) printJson(list);
}

}  // namespace

Command indexCommand(Program& program) {
  auto options = std::make_shared<IndexOptions>();
  const std::vector<CommandOption> common = {
      {"--connection", &options->connection, "Saved connection to use", "NAME"},
      {"--database", &options->database, "Database to look at", "NAME"},
      {"--json", &options->json, "Print JSON"}};
  std::vector<CommandOption> rebuilding = common;
  rebuilding.push_back({.names = "--stem",
                        .target = &options->stem,
                        .help = "Words of texts find their other forms in this language, such as "
                                "english or de, as long as the index lasts",
                        .value = "LANG",
                        .check = [](const std::string& language) {
                          const Result<void> known = WordIndex::checkStemLanguage(language);
                          return known ? std::string() : known.error();
                        }});
  return {.name = "index",
          .help = "The word index that \"find\" asks",
          .more =
              "It is a cache below the program's folder: it follows the archive by itself, and "
              "nothing is lost with it.",
          .commands = {{.name = "update",
                        .help = "Bring it in step with the archive, as each find does",
                        .options = common,
                        .run = [options, &program] { runUpdate(*options, false, program); }},
                       {.name = "rebuild",
                        .help = "Make it anew; attachments that failed are tried again",
                        .options = rebuilding,
                        .run = [options, &program] { runUpdate(*options, true, program); }},
                       {.name = "failures",
                        .help = "List the attachments whose text could not be had, and why",
                        .options = common,
                        .run = [options, &program] { runFailures(*options, program); }}}};
}

}  // namespace keldane
