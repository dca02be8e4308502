#include "output/reply.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/files.h"
#include "base/text.h"
#include "output/exact_sources.h"
#include "output/output_file.h"
#include "output/rebuilt_message.h"

namespace keldane {
namespace {

constexpr std::size_t kLeastAnswerUnits = 4;
constexpr std::size_t kMostBodyBytes = 60000;  ///< one argument may have some 128 KB, encoded

Result<std::string> cell(ServerSession& session, const char* column, std::uint32_t id) {
  const std::string sql = fmt::format("SELECT {} FROM email WHERE id={}", column, id);
  if (session.query(sql)) {
    std::string value = fetchFirstCell(session);
    if (session.error().empty()) return toUtf8(value);
  }
  return Failure{fmt::format("SQL error: {}, {}", session.error(), sql)};
}

std::string answerSubject(std::string subject) {
  const bool isAnswer = utf16Length(subject) >= kLeastAnswerUnits &&
                        compareNoCase(std::string_view(subject).substr(0, 3), "re:") == 0;
  return isAnswer ? subject : "Re: " + subject;
}

/// The receiver that a header text names behind "for"; empty when it names none. It is given the
/// subject, in which an ordinary message has no such thing.
std::string senderIn(std::string text) {
  if (!matchesWildcard(text, "*for*@*;*")) return {};
  constexpr std::size_t kForAndBlank = 4;
  text.erase(0, text.find("for") + kForAndBlank);
  text.resize(std::min(text.size(), text.find(';')));
  return matchesWildcard(text, "*@*") ? text : std::string();
}

/// A value between the quotes of a script. A backslash that stayed would end them together with the
/// escape of a quote behind it.
std::string scriptText(std::string value) {
  replaceAll(value, "\\", "\\\\");
  replaceAll(value, "\"", "\\\"");
  return value;
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~@";
  std::string encoded;
  for (const char c : text) {
    if (kPlain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return encoded;
}

/// The address alone: links have no place for a name.
std::string addressOf(const std::string& receiver) {
  const std::size_t open = receiver.find('<');
  const std::size_t close = receiver.find('>', open == std::string::npos ? 0 : open);
  if (open == std::string::npos || close == std::string::npos) return receiver;
  return receiver.substr(open + 1, close - open - 1);
}

}  // namespace

Result<MailDraft> draftReply(ServerSession& session, std::uint32_t id) {
  MailDraft draft;
  const Result<std::string> date = cell(session, "date_fld", id);
  if (!date) return Failure{date.error()};
  Result<std::string> address = cell(session, "mailto", id);
  if (address && address->empty()) address = cell(session, "from_fld", id);
  if (!address) return Failure{address.error()};
  Result<std::string> body = cell(session, "body_fld", id);
  if (!body) return Failure{body.error()};
  const Result<std::string> subject = cell(session, "subj_fld", id);
  if (!subject) return Failure{subject.error()};
  removeAll(*body, "\\");
  replaceAll(*body, "\n", "\n> ");
  draft.receiver = *address;
  draft.body = "\n\n\nMessage received " + *date + ":\n\n> " + *body;
  draft.subject = answerSubject(*subject);
  draft.sender = senderIn(*subject);
  if (draft.sender.empty()) {
    Result<std::string> to = cell(session, "to_fld", id);
    if (!to) return Failure{to.error()};
    draft.sender = to->substr(0, to->find_first_of(",;"));
  }
  removeAll(draft.sender, "\\");
  draft.sender.erase(0, draft.sender.find_first_not_of(' '));
  return draft;
}

Result<std::string> subjectOf(ServerSession& session, std::uint32_t id) {
  const auto subject =
      queryCell(session, fmt::format("SELECT subj_fld FROM email WHERE id={}", id));
  if (!subject) return subject;
  return toUtf8(*subject);
}

MailDraft draftForward(std::uint32_t id, std::string_view subject, std::string_view shownText) {
  std::string body(shownText.substr(0, shownText.find(kAttachmentsMark)));
  const std::string idLine = fmt::format("ID: {}\n", id);
  if (const std::size_t at = body.find(idLine); at != std::string::npos) {
    body.erase(at, idLine.size());
  }
  removeAll(body, "\\");
  MailDraft draft;
  draft.subject = "Fwd: " + std::string(subject);
  draft.body = "\n\n\nBegin forwarded message:\n\n" + body;
  return draft;
}

std::string replyScript(const MailDraft& draft) {
  const std::string indent(29, ' ');
  return indent + "tell application \"Mail\"\n" + indent +
         "set newMessage to make new outgoing message with properties {subject:\"" +
         scriptText(draft.subject) + "\", content:\"" + scriptText(draft.body) + "\" & return} \n" +
         indent + "tell newMessage\n" + indent + "set visible to true\n" + indent +
         "set sender to \"" + scriptText(draft.sender) + "\"\n" + indent +
         "make new to recipient at end of to recipients with properties {name:\"\", address:\"" +
         scriptText(draft.receiver) + "\"}\n" + indent + std::string(19, ' ') + "end tell\n" +
         std::string(19, ' ') + "end tell";
}

std::string forwardScript(const MailDraft& draft) {
  return "tell application \"Mail\"\nset newMsg to make new outgoing message\n"
         "\nset visible of newMsg to true\n\nset content of newMsg to \"" +
         scriptText(draft.body) + "\"\nset subject of newMsg to \"" + scriptText(draft.subject) +
         "\"\nend tell\n";
}

Result<void> runMailScript(ToolRunner& tools, const std::string& script) {
  ToolCall call;
  call.program = "osascript";
  // On standard input, it cannot be taken for an option.
  call.arguments = {"-"};
  call.input = script;
  const Result<ToolOutcome> outcome = tools.run(call);
  if (!outcome) return Failure{outcome.error()};
  if (outcome->exitStatus == 0) return {};
  return Failure{"osascript: " + printable(trimWhitespace(outcome->errorText))};
}

Result<std::string> writeForwarded(const OutputContext& context, std::uint32_t id,
                                   const std::string& folder) {
  const auto source = ExactSources(context).read(id);
  if (!source) return Failure{source.error()};
  if (!*source) return std::string();
  if (const Result<void> made = makeFolders(folder); !made) return Failure{made.error()};
  std::string path = fmt::format("{}/forwarded_{}.eml", folder, id);
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  file.write((*source)->bytes);
  if (const Result<void> written = file.commit(); !written) return Failure{written.error()};
  return path;
}

std::string mailtoLink(const MailDraft& draft) {
  return "mailto:" + percentEncoded(addressOf(draft.receiver)) +
         "?subject=" + percentEncoded(draft.subject) + "&body=" + percentEncoded(draft.body);
}

Result<void> composeByTool(ToolRunner& tools, const MailDraft& draft,
                           const std::string& attachmentPath) {
  std::string body = draft.body.substr(0, kMostBodyBytes);
  while (!isValidUtf8(body) && !body.empty()) body.pop_back();
  ToolCall call;
  call.program = "xdg-email";
  call.arguments = {"--utf8", "--subject", draft.subject, "--body", body};
  if (!attachmentPath.empty()) {
    call.arguments.insert(call.arguments.end(), {"--attach", attachmentPath});
  }
  // As a link, the address cannot be taken for an option.
  if (!draft.receiver.empty()) {
    call.arguments.push_back("mailto:" + percentEncoded(addressOf(draft.receiver)));
  }
  const Result<ToolOutcome> outcome = tools.run(call);
  if (!outcome) return Failure{outcome.error()};
  if (outcome->exitStatus == 0) return {};
  return Failure{"no mail program could be opened: " +
                 printable(trimWhitespace(outcome->errorText))};
}

}  // namespace keldane
