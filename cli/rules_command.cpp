#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "archive/tag_row.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/priority_option.h"
#include "cli/program.h"
#include "cli/rules_apply.h"
#include "cli/rules_test.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

struct RuleOptions {
  std::vector<std::string> rules;
  std::optional<std::string> name;
  std::optional<std::string> category;
  std::optional<std::string> keywords;
  std::optional<std::string> notes;
  std::optional<int> priority;
  std::vector<std::string> when;
  bool any = false;
  bool all = false;
  bool exclude = false;
  bool tag = false;
  bool json = false;
};

/// "FIELD contains TEXT" or "FIELD does not contain TEXT"; nullopt for anything else.
std::optional<RuleCriterion> parseCriterion(std::string_view text) {
  for (const std::string_view field : kRuleFieldTitles) {
    for (const std::string_view relation : kRuleRelationTitles) {
      const std::string start = fmt::format("{} {} ", field, relation);
      if (!text.starts_with(start) || text.size() == start.size()) continue;
      return RuleCriterion{std::string(field), std::string(relation),
                           std::string(text.substr(start.size()))};
    }
  }
  return std::nullopt;
}

std::string checkCriterion(const std::string& text) {
  if (parseCriterion(text)) return {};
  return fmt::format(
      "\"{}\" is no condition; write FIELD contains TEXT, or FIELD does not contain TEXT, where "
      "FIELD is one of {}",
      printable(text), fmt::join(kRuleFieldTitles, ", "));
}

/// A number or nothing would not tell this rule from the others where one is asked for.
std::string checkName(const std::string& text) {
  if (trimWhitespace(text).empty()) return "a rule needs a name that is not empty";
  if (text.find_first_not_of("0123456789") != std::string::npos) return {};
  return fmt::format("\"{}\" would be taken for the number of a rule; give a name that is none",
                     text);
}

std::string conditionText(const TagRule& rule) {
  std::string text;
  for (const RuleCriterion& criterion : rule.ruleCriteria) {
    if (criterion.value.empty()) continue;
    if (!text.empty()) text += rule.ruleAll == "all" ? " and " : " or ";
    text += fmt::format("{} {} \"{}\"", criterion.field, criterion.relation, criterion.value);
  }
  return text;
}

nlohmann::ordered_json ruleJson(const TagRule& rule, std::size_t number) {
  nlohmann::ordered_json criteria = nlohmann::ordered_json::array();
  for (const RuleCriterion& criterion : rule.ruleCriteria) {
    if (criterion.value.empty()) continue;
    criteria.push_back(
        {{"field", criterion.field}, {"relation", criterion.relation}, {"value", criterion.value}});
  }
  return {{"number", number},
          {"name", rule.ruleDescription},
          {"enabled", rule.ruleActive != 0},
          {"action", rule.tagOrExclude != 0 ? "exclude" : "tag"},
          {"join", rule.ruleAll},
          {"when", std::move(criteria)},
          {"category", rule.ruleCat},
          {"keywords", rule.ruleKeywords},
          {"notes", rule.ruleNotes},
          {"priority", leadingInt(rule.rulePriority)}};
}

void printRules(const RuleOptions& options, Program& program) {
  const std::vector<TagRule>& rules = program.archiver().tagRules().rules();
  std::vector<std::vector<std::string>> rows;
  for (std::size_t i = 0; i < rules.size(); ++i) {
    const TagRule& rule = rules[i];
    if (options.json) printJson(ruleJson(rule, i + 1));
    rows.push_back({fmt::format("{}", i + 1), rule.ruleActive != 0 ? "on" : "off",
                    rule.ruleDescription, rule.tagOrExclude != 0 ? "exclude" : "tag",
                    conditionText(rule)});
  }
  if (options.json) return;
  std::fputs(formatTable({{"NO", true, 0},
                          {"", false, 0},
                          {"NAME", false, 0},
                          {"DOES", false, 0},
                          {.title = "WHEN", .wraps = true}},
                         rows, outputWidth())
                 .c_str(),
             stdout);
}

/// Rows of the rules that numbers or names stand for; nullopt, and a message, for one that is none.
std::optional<std::vector<std::size_t>> findRules(const std::vector<std::string>& texts,
                                                  Program& program) {
  const std::vector<TagRule>& rules = program.archiver().tagRules().rules();
  std::vector<std::size_t> rows;
  for (const std::string& text : texts) {
    std::vector<std::size_t> found;
    const auto number = static_cast<std::size_t>(std::max(0, leadingInt(text)));
    if (text.find_first_not_of("0123456789") == std::string::npos) {
      if (number >= 1 && number <= rules.size()) found.push_back(number - 1);
    } else {
      for (std::size_t i = 0; i < rules.size(); ++i) {
        if (rules[i].ruleDescription == text) found.push_back(i);
      }
    }
    if (found.size() == 1) {
      rows.push_back(found.front());
      continue;
    }
    const char* form = found.empty() ? "there is no rule \"{}\"; `keldane rules list` shows them"
                                     : "several rules are named \"{}\"; give the number of one";
    program.exitStatus = program.fail(fmt::format(fmt::runtime(form), printable(text)));
    return std::nullopt;
  }
  return rows;
}

void showRule(const RuleOptions& options, Program& program) {
  const auto rows = findRules(options.rules, program);
  if (!rows) return;
  const TagRule& rule = program.archiver().tagRules().rules()[rows->front()];
  if (options.json) {
    printJson(ruleJson(rule, rows->front() + 1));
    return;
  }
  const auto line = [](const char* title, const std::string& value) {
    if (!value.empty()) fmt::print("{:<10} {}\n", title, printable(value));
  };
  line("Number:", fmt::format("{}", rows->front() + 1));
  line("Name:", rule.ruleDescription);
  line("State:", rule.ruleActive != 0 ? "on" : "off");
  line("Does:", rule.tagOrExclude != 0 ? "exclude" : "tag");
  line("When:", conditionText(rule));
  line("Category:", rule.ruleCat);
  line("Keywords:", rule.ruleKeywords);
  line("Notes:", rule.ruleNotes);
  line("Priority:", std::string(priorityTitle(leadingInt(rule.rulePriority))));
}

void fillRule(const RuleOptions& options, TagRule& rule) {
  if (options.name) rule.ruleDescription = *options.name;
  if (options.category) rule.ruleCat = *options.category;
  if (options.keywords) rule.ruleKeywords = *options.keywords;
  if (options.notes) rule.ruleNotes = *options.notes;
  if (options.priority) rule.rulePriority = fmt::format("{}", *options.priority);
  if (options.any) rule.ruleAll = "any";
  if (options.all) rule.ruleAll = "all";
  if (options.exclude) rule.tagOrExclude = 1;
  if (options.tag) rule.tagOrExclude = 0;
  if (options.when.empty()) return;
  for (std::size_t i = 0; i < rule.ruleCriteria.size(); ++i) {
    RuleCriterion& criterion = rule.ruleCriteria[i];
    criterion.value.clear();
    if (i < options.when.size()) criterion = parseCriterion(options.when[i]).value_or(criterion);
  }
}

void finish(const Result<void>& saved, Program& program) {
  if (!saved) {
    program.exitStatus = program.fail(printable("The rules could not be saved: " + saved.error()));
  }
}

/// A name that no rule has: this one, or the first free one of those that count on from it.
std::string freeName(const std::string& name, const std::vector<TagRule>& rules) {
  const auto taken = [&rules](const std::string& text) {
    return std::any_of(rules.begin(), rules.end(), [&text](const TagRule& rule) {
      return compareNoCase(rule.ruleDescription, text) == 0;
    });
  };
  std::string free = name;
  for (int i = 2; taken(free); ++i) free = fmt::format("{} {}", name, i);
  return free;
}

/// Why a rule is not to be saved: names tell rules apart, and a rule that never fires, or that does
/// nothing when it does, is a mistake. Empty: nothing is wrong with it.
std::string whatIsWrong(const TagRule& rule, std::optional<std::size_t> ownRow,
                        const std::vector<TagRule>& rules) {
  for (std::size_t i = 0; i < rules.size(); ++i) {
    if (ownRow != i && compareNoCase(rules[i].ruleDescription, rule.ruleDescription) == 0) {
      return fmt::format("there is a rule named \"{}\" already; give another --name",
                         printable(rules[i].ruleDescription));
    }
  }
  const bool conditions =
      std::any_of(rule.ruleCriteria.begin(), rule.ruleCriteria.end(),
                  [](const RuleCriterion& criterion) { return !criterion.value.empty(); });
  if (!conditions) return "the rule would never do anything: give it a condition with --when";
  const bool effect = rule.tagOrExclude != 0 || !rule.ruleCat.empty() ||
                      !rule.ruleKeywords.empty() || !rule.ruleNotes.empty() ||
                      rule.rulePriority != "0";
  if (effect) return {};
  return "the rule would do nothing: give --category, --keywords, --notes, --priority or --exclude";
}

void addRule(const RuleOptions& options, const TagRule& start, Program& program) {
  TagRuleList& list = program.archiver().tagRules();
  TagRule rule = start;
  rule.ruleDescription = freeName(rule.ruleDescription, list.rules());
  rule.ruleActive = 1;
  fillRule(options, rule);
  const std::string wrong = whatIsWrong(rule, std::nullopt, list.rules());
  if (wrong.empty()) return finish(list.add(rule), program);
  program.exitStatus = program.fail(wrong);
}

void copyRule(const RuleOptions& options, Program& program) {
  const auto rows = findRules(options.rules, program);
  if (!rows) return;
  const TagRule copied = program.archiver().tagRules().rules()[rows->front()];
  addRule(options, asWrittenHere(copied), program);
}

void editRule(const RuleOptions& options, Program& program) {
  const auto rows = findRules(options.rules, program);
  if (!rows) return;
  TagRuleList& list = program.archiver().tagRules();
  const TagRule before = list.rules()[rows->front()];
  TagRule after = asWrittenHere(before);
  fillRule(options, after);
  const std::string wrong = whatIsWrong(after, rows->front(), list.rules());
  if (wrong.empty()) return finish(list.replace(before, after), program);
  program.exitStatus = program.fail(wrong);
}

void removeRules(const RuleOptions& options, Program& program) {
  auto rows = findRules(options.rules, program);
  if (!rows) return;
  std::sort(rows->begin(), rows->end());
  rows->erase(std::unique(rows->begin(), rows->end()), rows->end());
  TagRuleList& list = program.archiver().tagRules();
  std::vector<TagRule> gone;
  for (const std::size_t row : *rows) gone.push_back(list.rules()[row]);
  finish(list.remove(gone), program);
}

void switchRules(const RuleOptions& options, bool on, Program& program) {
  const auto rows = findRules(options.rules, program);
  if (!rows) return;
  TagRuleList& list = program.archiver().tagRules();
  std::vector<TagRule> chosen;
  for (const std::size_t row : *rows) chosen.push_back(list.rules()[row]);
  for (const TagRule& rule : chosen) {
    // Each change reads the rules again, and another program may have changed this one.
    const std::vector<TagRule>& rules = list.rules();
    if (std::find(rules.begin(), rules.end(), rule) == rules.end()) continue;
    if ((rule.ruleActive != 0) == on) continue;
    TagRule switched = rule;
    switched.ruleActive = on ? 1 : 0;
    finish(list.replace(rule, switched), program);
  }
}

std::vector<CommandOption> ruleOptions(RuleOptions& options) {
  return {{.names = "--name",
           .target = &options.name,
           .help = "Its name",
           .value = "NAME",
           .check = checkName},
          {.names = "--when",
           .target = &options.when,
           .help = "A condition: FIELD contains TEXT, or FIELD does not contain TEXT; FIELD is "
                   "from, to, subject, body or mailbox; up to four times",
           .value = "CONDITION",
           .check = checkCriterion,
           .most = 4},
          {.names = "--any",
           .target = &options.any,
           .help = "One of the conditions is enough",
           .excludes = {"--all"}},
          {"--all", &options.all, "All conditions must be met"},
          {"--category", &options.category, "Category to give"},
          {"--keywords", &options.keywords, "Keywords to add, between blanks"},
          {"--notes", &options.notes, "Notes in place of those that a message came with"},
          {"--priority", priorityInto(options.priority),
           "none, lowest, low, medium, high, highest or 0 to 5, in place of the one that a "
           "message came with",
           kPriorityNames},
          {.names = "--exclude",
           .target = &options.exclude,
           .help = "Keep the messages out of the archive",
           .excludes = {"--tag"}},
          {"--tag", &options.tag, "Tag the messages (as when not given)"}};
}

/// A command on one rule or, with `most` 0, on any number of them.
Command ruleCommand(const char* name, const char* help, RuleOptions& options, std::size_t most,
                    const std::vector<CommandOption>& further, std::function<void()> run) {
  Command command = {.name = name, .help = help, .run = std::move(run)};
  command.options.push_back({.names = "RULE",
                             .target = &options.rules,
                             .help = "Number or name of a rule",
                             .required = true,
                             .most = most});
  command.options.insert(command.options.end(), further.begin(), further.end());
  return command;
}

}  // namespace

Command rulesCommand(Program& program) {
  auto options = std::make_shared<RuleOptions>();
  auto apply = std::make_shared<RulesApplyOptions>();
  auto test = std::make_shared<RulesTestOptions>();
  const std::vector<CommandOption> parts = ruleOptions(*options);
  Command edit =
      ruleCommand("edit", "Change what is given; conditions replace the old ones", *options, 1,
                  parts, [options, &program] { editRule(*options, program); });
  for (const CommandOption& part : parts) edit.oneOf.push_back(part.names);
  return {
      .name = "rules",
      .help = "The rules that tag messages on their way into the archive, or keep them out",
      .commands = {
          {.name = "list",
           .help = "Show them, in the order in which they work",
           .options = {{"--json", &options->json, "One JSON object a line for each rule"}},
           .run = [options, &program] { printRules(*options, program); }},
          ruleCommand("show", "Show one of them whole", *options, 1,
                      {{"--json", &options->json, "As a JSON object"}},
                      [options, &program] { showRule(*options, program); }),
          {.name = "add",
           .help = "Add one behind the others, switched on",
           .options = parts,
           .run =
               [options, &program] {
                 addRule(*options, program.archiver().tagRules().newRule(), program);
               }},
          std::move(edit),
          ruleCommand("copy", "Add a copy, with what is given changed in it", *options, 1, parts,
                      [options, &program] { copyRule(*options, program); }),
          ruleCommand("remove", "Remove rules", *options, 0, {},
                      [options, &program] { removeRules(*options, program); }),
          ruleCommand("enable", "Switch rules on", *options, 0, {},
                      [options, &program] { switchRules(*options, true, program); }),
          ruleCommand("disable", "Switch rules off", *options, 0, {},
                      [options, &program] { switchRules(*options, false, program); }),
          {.name = "test",
           .help = "Tell which rules fire on the messages of files, and the tags they would give",
           .more = "Nothing is written, and no archive is asked. Mailboxes of the mail application "
                   "are called by their folders here, not by the names of their accounts.",
           .options = {{.names = "FILE",
                        .target = &test->files,
                        .help = "Files and folders of mail; - is a message or an mbox from "
                                "standard input",
                        .required = true},
                       {"--json", &test->json, "One JSON object a line for each message"}},
           .run = [test, &program] { testRules(*test, program); }},
          {.name = "apply",
           .help = "Run the rules over the messages that are stored: keywords are added, and a "
                   "category, notes and a priority given where there are none",
           .more = "Tags that a message has are never changed, and nothing is deleted. Conditions "
                   "on the body go by the text that a search finds.",
           .options = {{"--dry-run", &apply->dryRun, "Only show what would be tagged"},
                       {"--database", &apply->database, "Use this database", "NAME"},
                       {"--connection", &apply->connection, "Use this saved connection", "NAME"}},
           .run = [apply, &program] { applyRules(*apply, program); }}}};
}

}  // namespace keldane
