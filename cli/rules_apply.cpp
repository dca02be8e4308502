#include "cli/rules_apply.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/count_text.h"
#include "cli/program.h"
#include "cli/text_table.h"
#include "ingest/storing/tag_rules.h"
#include "query/message_tags.h"

namespace keldane {
namespace {

/// Bodies may be long; so many messages are held at a time.
constexpr int kMessagesAtATime = 100;

struct StoredMessage {
  std::uint32_t id = 0;
  CurrentMessage message;
};

/// The messages behind this id; absent when the server refuses.
std::optional<std::vector<StoredMessage>> messagesBehind(std::uint32_t id, ServerSession& session) {
  const bool sent = session.query(
      fmt::format("SELECT id,from_fld,to_fld,subj_fld,mailbox,body_fld FROM email WHERE id>{} "
                  "ORDER BY id LIMIT {}",
                  id, kMessagesAtATime));
  const auto rows = sent ? session.storeResult() : nullptr;
  if (!rows) return std::nullopt;
  const auto text = [&rows](std::size_t column) {
    return toUtf8(rows->cell(column).value_or(std::string_view()));
  };
  std::vector<StoredMessage> messages;
  while (rows->next()) {
    StoredMessage stored;
    stored.id = static_cast<std::uint32_t>(std::strtoul(text(0).c_str(), nullptr, 10));
    stored.message.msgFrom = text(1);
    stored.message.msgTo = text(2);
    stored.message.msgSubject = text(3);
    stored.message.msgMailbox = text(4);
    stored.message.msgBody = text(5);
    messages.push_back(std::move(stored));
  }
  return messages;
}

/// The tags with what the rules give beside them. `gets` says what is new; empty: nothing.
TagRow withRuleTags(TagRow tags, const MessageTags& given, std::vector<std::string>& gets) {
  const auto fill = [&gets](std::string& field, const std::string& value, const char* title) {
    if (!field.empty() || value.empty()) return;
    field = value;
    gets.push_back(fmt::format("{} \"{}\"", title, value));
  };
  fill(tags.category, given.tagCategory, "category");
  fill(tags.notes, given.tagNotes, "notes");
  if (const int priority = leadingInt(given.tagPriority); tags.priority == 0 && priority > 0) {
    tags.priority = priority;
    gets.push_back(fmt::format("priority {}", priorityTitle(priority)));
  }
  std::vector<std::string> words = wordsOf(tags.keywords);
  for (const std::string& word : wordsOf(given.tagKeywords)) {
    const bool there = std::any_of(words.begin(), words.end(), [&word](const std::string& each) {
      return compareNoCase(each, word) == 0;
    });
    if (there) continue;
    words.push_back(word);
    gets.push_back(fmt::format("keyword \"{}\"", word));
  }
  tags.keywords = join(words, " ");
  return tags;
}

/// One pass over the archive.
class RulePass {
 public:
  RulePass(const RulesApplyOptions& options, const std::vector<TagRule>& rules,
           ServerSession& session, Program& program)
      : options_(options), rules_(rules), session_(session), program_(program) {}

  /// False when the server has refused a statement, which has been told.
  bool run() {
    std::uint32_t last = 0;
    while (interruptCount() == 0) {
      const auto messages = messagesBehind(last, session_);
      if (!messages) return refused(session_.error());
      if (messages->empty()) break;
      last = messages->back().id;
      std::vector<std::uint32_t> ids;
      for (const StoredMessage& stored : *messages) ids.push_back(stored.id);
      const auto tags = readTags(session_, ids);
      if (!tags) return refused(tags.error());
      for (const StoredMessage& stored : *messages) {
        const auto found = tags->find(stored.id);
        if (!take(stored, found == tags->end() ? TagRow{} : found->second)) return false;
      }
    }
    return true;
  }

  void report() const {
    if (options_.dryRun && !rows_.empty()) {
      const std::string table =
          formatTable({{"ID", true, 0}, {"SUBJECT", false, 40}, {.title = "GETS", .wraps = true}},
                      rows_, outputWidth());
      std::fputs(table.c_str(), stdout);
    }
    fmt::print("{} of {} {}.\n", tagged_, countText(looked_, "message"),
               options_.dryRun ? "would be tagged" : "tagged");
    if (excluded_ == 0) return;
    fmt::print("{} would be kept out by a rule today, and stays as it is.\n",
               countText(excluded_, "stored message"));
  }

 private:
  bool refused(const std::string& error) {
    program_.exitStatus = program_.failSql(error);
    return false;
  }

  bool take(const StoredMessage& stored, TagRow before) {
    before.id = stored.id;
    ++looked_;
    MessageTags given;
    if (tagsOfRules(rules_, stored.message, given).exclude) {
      ++excluded_;
      return true;
    }
    std::vector<std::string> gets;
    const TagRow after = storedForm(withRuleTags(before, given, gets));
    if (gets.empty()) return true;
    if (const std::string wrong = tooLong(after); !wrong.empty()) {
      program_.exitStatus =
          program_.fail(fmt::format("message {} is left as it is: {}", stored.id, wrong));
      return true;
    }
    ++tagged_;
    if (options_.dryRun) {
      rows_.push_back({fmt::format("{}", stored.id), stored.message.msgSubject, join(gets, ", ")});
      return true;
    }
    const Result<void> written = writeTags(session_, after);
    if (written) return true;
    --tagged_;
    return refused(written.error());
  }

  const RulesApplyOptions& options_;
  const std::vector<TagRule>& rules_;
  ServerSession& session_;
  Program& program_;
  std::vector<std::vector<std::string>> rows_;
  long looked_ = 0;
  long tagged_ = 0;
  long excluded_ = 0;
};

}  // namespace

void applyRules(const RulesApplyOptions& options, Program& program) {
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  const std::vector<TagRule>& rules = archiver->tagRules().rules();
  const bool anyActive = std::any_of(rules.begin(), rules.end(),
                                     [](const TagRule& rule) { return rule.ruleActive != 0; });
  if (!anyActive) {
    (void)program.fail("no rule is switched on; `keldane rules add` makes one");
    return;
  }
  watchInterrupts();
  program.exitStatus = kExitDone;
  RulePass pass(options, rules, archiver->session(), program);
  (void)pass.run();
  pass.report();
  if (interruptCount() > 0) program.exitStatus = kExitInterrupted;
}

}  // namespace keldane
