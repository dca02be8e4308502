#include <cstdio>
#include <cstdlib>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

#include "app/query_settings.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/message_id.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/tag_text.h"
#include "cli/terminal_text.h"
#include "output/exact_sources.h"
#include "query/message_html.h"
#include "query/message_tags.h"
#include "query/search_builder.h"

namespace keldane {
namespace {

struct ShowOptions {
  std::vector<std::string> ids;
  std::string database;
  std::string connection;
  bool text = false;
  bool html = false;
  bool source = false;
  bool raw = false;
  bool headers = false;
  bool json = false;
};

/// The row of the list that the message would have; nullopt, and the reason printed, without one.
std::optional<Emailrow> findRow(std::uint32_t id, const ShowOptions& options, Archiver& archiver,
                                Program& program) {
  ServerSession& session = archiver.session();
  const std::string sql = fmt::format("{}email WHERE id={}", selectListColumns("id"), id);
  const bool sent = session.query(sql);
  const auto rows = sent ? session.storeResult() : nullptr;
  if (!rows) {
    program.exitStatus = program.failSql(session.error());
    return std::nullopt;
  }
  if (!rows->next()) {
    program.exitStatus = program.fail(fmt::format("there is no message with the id {}", id));
    return std::nullopt;
  }
  Emailrow row = readListRow(*rows);
  if (!options.json)
    row.emailDate = formatListDate(row.emailDate, dateStyleOf(archiver.settings().user));
  return row;
}

/// A message without an HTML version as a page of its own, so that a browser shows any message.
std::string pageOfText(const Emailrow& row, const std::string& messageText) {
  const std::size_t end = messageText.find("\n\n");
  const std::string_view body =
      end == std::string::npos ? "" : std::string_view(messageText).substr(end + 2);
  return headerBlockHtml({row.emailFrom, row.emailTo, "", row.emailSubject, row.emailDate}) +
         "<pre>" + escapeMarkup(body) + "</pre>\n";
}

std::optional<std::string> rawSource(std::uint32_t id, const ShowOptions& options,
                                     StoredSources& sources, const SourceReading& reading,
                                     Program& program) {
  Result<std::string> source = sources.fetch(id);
  if (!source) {
    program.exitStatus = program.failSql(source.error());
    return std::nullopt;
  }
  if (source->size() < 2) {
    program.exitStatus = program.fail(fmt::format(
        "the archive has no raw source of message {}; `keldane show {}` shows its text", id, id));
    return std::nullopt;
  }
  if (options.headers) {
    reading.stripPlist(*source);
    const std::size_t end = source->find("\n\n");
    if (end != std::string::npos) source->resize(end + 1);
  }
  return std::move(*source);
}

/// The source as it lay in its file, or as much of it as is known, which is told.
std::optional<std::string> exactSource(std::uint32_t id, Archiver& archiver, Program& program) {
  const OutputContext context{archiver.session(), program.terminal,
                              sourceReading(archiver.settings().user).stripPlist};
  Result<std::optional<CarriedSource>> source = ExactSources(context).read(id);
  if (!source) {
    program.exitStatus = program.failSql(source.error());
    return std::nullopt;
  }
  if (!*source || (*source)->state == SourceState::rebuilt) {
    program.exitStatus = program.fail(fmt::format(
        "the archive has no raw source of message {}; `keldane show {}` shows its text", id, id));
    return std::nullopt;
  }
  if ((*source)->state != SourceState::exact) {
    // No failure: it is all that there is.
    static_cast<void>(program.fail(fmt::format(
        "message {} cannot be given back to the byte: {}; this is its stored source", id,
        (*source)->state == SourceState::assembled ? "its file held only a part of it"
                                                   : "only its text is known, not its bytes")));
  }
  return std::move((*source)->bytes);
}

/// The message's text with its tags among the lines above it.
std::string withTags(std::string text, const std::optional<TagRow>& tags) {
  const std::size_t end = text.find("\n\n");
  if (tags && end != std::string::npos) text.insert(end + 1, tagLines(*tags));
  return text;
}

std::nullopt_t unread(const std::string& error, std::uint32_t id, Program& program) {
  std::fputs(fmt::format("SQL error: {}\n", error).c_str(), stderr);
  program.exitStatus = program.fail(fmt::format("message {} could not be read", id));
  return std::nullopt;
}

/// What is to be printed; nullopt, and the reason printed, when it is not to be had.
std::optional<std::string> read(const ShowOptions& options, const Emailrow& row,
                                const std::optional<TagRow>& tags, Archiver& archiver,
                                Program& program) {
  const UserSettings& user = archiver.settings().user;
  const SourceReading reading = sourceReading(user);
  StoredSources sources(archiver.session(), reading);
  if (options.raw) return exactSource(row.emailID, archiver, program);
  if (options.source || options.headers)
    return rawSource(row.emailID, options, sources, reading, program);
  if (!options.html) {
    const Result<std::string> text = sources.textForReader(row.emailID, row.emailDate, false);
    if (!text) return unread(text.error(), row.emailID, program);
    return withTags(*text, tags);
  }
  const Result<std::string> source = sources.fetch(row.emailID);
  if (!source) return unread(source.error(), row.emailID, program);
  const MessageContent content = sources.readMessage(
      row.emailID, *source, headerDate(user, program.environment, row.emailDate));
  if (!content.messageText) return unread(content.error, row.emailID, program);
  return standalonePage(content.html ? *content.html : pageOfText(row, *content.messageText));
}

/// The message's tags. False, and the reason printed, when they are not to be had.
bool findTags(std::uint32_t id, ServerSession& session, std::optional<TagRow>& tags,
              Program& program) {
  const auto found = readTags(session, {id});
  if (!found) {
    program.exitStatus = program.failSql(found.error());
    return false;
  }
  if (const auto at = found->find(id); at != found->end()) tags = at->second;
  return true;
}

const char* keyOf(const ShowOptions& options) {
  if (options.html) return "html";
  if (options.source) return "source";
  return options.headers ? "headers" : "text";
}

/// Prints messages one behind the other, in the pager from the first one on.
class MessagePrinter {
 public:
  MessagePrinter(const ShowOptions& options, const OutputStyle& style)
      : options_(options), style_(style) {}

  void print(const Emailrow& row, const std::optional<TagRow>& tags, const std::string& text) {
    if (options_.json) {
      printJson({{"id", row.emailID},
                 {"date", isoDate(row.emailDate)},
                 {"from", row.emailFrom},
                 {"to", row.emailTo},
                 {"subject", row.emailSubject},
                 {"mailbox", row.emailMailbox},
                 {"attachments", row.emailAtch},
                 {"tags", tagsJson(tags)},
                 {keyOf(options_), text}});
      return;
    }
    std::string shown = onTerminal_ ? terminalText(text) : text;
    // A source is written as it is stored; any other text ends with its line.
    const bool isAsStored = options_.source || options_.raw;
    if ((onTerminal_ || !isAsStored) && !shown.ends_with('\n')) shown += '\n';
    if (pager_ && !isAsStored) shown.insert(0, "\n");
    if (!pager_) pager_.emplace(style_);
    std::fwrite(shown.data(), 1, shown.size(), stdout);
  }

 private:
  const ShowOptions& options_;
  const OutputStyle& style_;
  const bool onTerminal_ = ::isatty(STDOUT_FILENO) != 0;
  std::optional<Pager> pager_;
};

void runShow(const ShowOptions& options, Program& program) {
  const auto ids = messageIds(options.ids, program);
  if (!ids || ids->empty()) return;
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  MessagePrinter printer(options, program.style);
  for (const std::uint32_t id : *ids) {
    const std::optional<Emailrow> row = findRow(id, options, *archiver, program);
    std::optional<TagRow> tags;
    if (!row || !findTags(id, archiver->session(), tags, program)) continue;
    const auto text = read(options, *row, tags, *archiver, program);
    if (text) printer.print(*row, tags, *text);
  }
}

}  // namespace

Command showCommand(Program& program) {
  auto options = std::make_shared<ShowOptions>();
  return {
      .name = "show",
      .help = "Show messages of the archive, one behind the other",
      .options = {idArgument(options->ids),
                  {.names = "--text",
                   .target = &options->text,
                   .help = "Its whole text; this is the default",
                   .excludes = {"--html", "--source", "--raw", "--headers"}},
                  {.names = "--html",
                   .target = &options->html,
                   .help = "Its HTML version under a block of header lines, as a page that runs "
                           "and fetches nothing; a message without one as a plain page",
                   .excludes = {"--source", "--raw", "--headers"}},
                  {.names = "--source",
                   .target = &options->source,
                   .help = "Its raw source as text, as the archive stores it",
                   .excludes = {"--raw", "--headers"}},
                  {.names = "--raw",
                   .target = &options->raw,
                   .help = "Its source as it lay in its file, to the byte, into a file or pipe",
                   .excludes = {"--headers", "--json"}},
                  {"--headers", &options->headers, "The headers of its source"},
                  {"--database", &options->database, "Look in this database", "NAME"},
                  {"--connection", &options->connection, "Use this saved connection", "NAME"},
                  {"--json", &options->json,
                   "One JSON object a line for each, with the text in it"}},
      .run = [options, &program] { runShow(*options, program); }};
}

}  // namespace keldane
