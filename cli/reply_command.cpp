#include "output/reply.h"

#include <memory>
#include <optional>

#include <fmt/format.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/message_id.h"
#include "cli/message_selection.h"
#include "cli/program.h"
#include "output/saved_text.h"

namespace keldane {
namespace {

struct AnswerOptions {
  std::vector<std::string> ids;
  std::string database;
  std::string connection;
};

/// The one message that is named; the status is set when there is none.
std::optional<ListedMessage> messageOf(const AnswerOptions& options, Archiver& archiver,
                                       Program& program) {
  const auto ids = messageIds(options.ids, program);
  if (!ids) return std::nullopt;
  program.exitStatus = kExitFailed;
  if (ids->size() != 1) {
    (void)program.fail("name one message");
    program.exitStatus = kExitUsage;
    return std::nullopt;
  }
  const Result<ListedMessage> row = listedMessages(archiver, *ids).row(0);
  if (!row) {
    (void)program.fail(printable(row.error()));
  } else if (row->date.empty()) {
    (void)program.fail(fmt::format("there is no message with the id {}", row->id));
  } else {
    return *row;
  }
  return std::nullopt;
}

/// Opens the draft with the desktop's tool; without one the draft is a line on the terminal.
void compose(const MailDraft& draft, const std::string& attachment, Program& program) {
  program.exitStatus = kExitDone;
  const Result<void> opened = composeByTool(program.tools, draft, attachment);
  if (opened) return;
  program.terminal.notice("keldane: " + printable(opened.error()));
  if (!attachment.empty()) program.terminal.notice("The message to attach is " + attachment);
  fmt::print("{}\n", mailtoLink(draft));
}

void runReply(const AnswerOptions& options, Program& program) {
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  const auto message = messageOf(options, *archiver, program);
  if (!message) return;
  const Result<MailDraft> draft = draftReply(archiver->session(), message->id);
  if (!draft) {
    (void)program.fail(printable(draft.error()));
  } else if (program.host.hasMailApplication()) {
    const Result<void> run = runMailScript(program.tools, replyScript(*draft));
    program.exitStatus = run ? kExitDone : program.fail(run.error());
  } else {
    compose(*draft, "", program);
  }
}

void runForward(const AnswerOptions& options, Program& program) {
  program.exitStatus = kExitFailed;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) return;
  const auto message = messageOf(options, *archiver, program);
  if (!message) return;
  const UserSettings& user = archiver->settings().user;
  std::string date = message->date;
  removeAll(date, "*");
  const Result<std::string> text = textReader(archiver->session(), user)(message->id, date, false);
  if (!text) {
    (void)program.fail(printable(text.error()));
    return;
  }
  const MailDraft draft = draftForward(message->id, message->subject, *text);
  if (program.host.hasMailApplication()) {
    const Result<void> run = runMailScript(program.tools, forwardScript(draft));
    program.exitStatus = run ? kExitDone : program.fail(run.error());
    return;
  }
  Progress unseen;
  // It stays behind with its folder until the mail program has read it.
  const Result<std::string> source =
      writeForwarded({archiver->session(), unseen, sourceReading(user).stripPlist}, message->id,
                     archiver->process().workFolder);
  if (!source) {
    (void)program.fail(printable(source.error()));
    return;
  }
  compose(draft, *source, program);
}

Command answerCommand(Program& program, const char* name, const char* help,
                      void (*run)(const AnswerOptions&, Program&)) {
  auto options = std::make_shared<AnswerOptions>();
  return {.name = name,
          .help = help,
          .more =
              "Nothing is sent from here. Without a mail program that can be asked, a link "
              "that opens the message is printed.",
          .options = {idArgument(options->ids),
                      {"--database", &options->database, "Use this database", "NAME"},
                      {"--connection", &options->connection, "Use this saved connection", "NAME"}},
          .run = [options, run, &program] { run(*options, program); }};
}

}  // namespace

Command replyCommand(Program& program) {
  return answerCommand(program, "reply", "Open an answer to a message in your mail program",
                       runReply);
}

Command forwardCommand(Program& program) {
  return answerCommand(program, "forward",
                       "Open a message in your mail program that carries this one on, its source "
                       "attached",
                       runForward);
}

}  // namespace keldane
