#include "cli/rules_test.h"

#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/dry_run_report.h"
#include "cli/import_paths.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/tag_text.h"
#include "ingest/storing/tag_rules.h"

namespace keldane {
namespace {

/// Of each message, whether it is stored already or not.
std::vector<PassPlan> plansOf(const std::vector<std::string>& paths, Archiver& archiver) {
  ArchiveRequest request;
  request.paths = paths;
  std::vector<PassPlan> plans =
      dryPlans(request, archiver.settings(), archiver.sources(), archiver.tagRules());
  for (PassPlan& plan : plans) {
    plan.settings.skipDupsState = 1;
    plan.skipsKnownFiles = false;
    plan.settings.origState = 0;  // no source has to fit a server
    plan.settings.attachState = 0;
  }
  return plans;
}

void printText(const DryOutcome& outcome, const std::vector<std::string>& names) {
  const std::string place = printable(toUtf8(placeText(outcome)));
  if (outcome.message == nullptr) {
    fmt::print("{}\n  {}: {}\n", place, outcomeName(outcome.outcome),
               printable(toUtf8(outcome.detail)));
    return;
  }
  fmt::print("{}: {}\n", place, printable(toUtf8(outcome.message->msgSubject)));
  if (names.empty()) fmt::print("  no rule fires\n");
  for (const std::string& name : names) fmt::print("  rule \"{}\"\n", printable(name));
  if (outcome.outcome == LedgerOutcome::excluded) {
    fmt::print("  would be kept out\n");
  } else if (outcome.message->tags.any()) {
    for (const std::string& line : split(tagLines(tagRow(0, outcome.message->tags)), "\n")) {
      if (!line.empty()) fmt::print("  {}\n", printable(toUtf8(line)));
    }
  }
}

void printObject(const DryOutcome& outcome, const std::vector<std::string>& names) {
  const bool excluded = outcome.outcome == LedgerOutcome::excluded;
  nlohmann::ordered_json object = placeJson(outcome);
  if (outcome.message == nullptr) {
    object["outcome"] = outcomeName(outcome.outcome);
    object["detail"] = toUtf8(outcome.detail);
  } else {
    const bool tagged = !excluded && outcome.message->tags.any();
    object["rules"] = names;
    object["excluded"] = excluded;
    object["tags"] = tagsJson(tagged ? std::optional(tagRow(0, outcome.message->tags))
                                     : std::optional<TagRow>());
  }
  printJson(object);
}

}  // namespace

void testRules(const RulesTestOptions& options, Program& program) {
  std::unique_ptr<StandardInputFile> input;
  const std::vector<std::string> paths = importPaths(options.files, input, program);
  if (paths.empty()) return;
  watchInterrupts();
  Archiver& archiver = program.archiver();
  const std::vector<TagRule>& rules = archiver.tagRules().rules();
  Progress quiet;
  DryRun run({archiver.session(), archiver.process(), program.environment, quiet,
              [] { return interruptCount() > 0; }});
  const Result<RunReport> report =
      run.run(plansOf(paths, archiver), false, [&](const DryOutcome& outcome) {
        std::vector<std::string> names;
        if (outcome.message != nullptr) names = firingRules(rules, *outcome.message);
        options.json ? printObject(outcome, names) : printText(outcome, names);
      });
  if (!report || report->sums.failed + report->sums.unreadable > 0) {
    program.exitStatus = program.fail("not all could be read");
  }
  if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
}

}  // namespace keldane
