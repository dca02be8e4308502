#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "archive/server_session.h"
#include "base/result.h"
#include "output/export_frame.h"
#include "platform/tool_runner.h"

/// Answering and forwarding: a new message is opened in the user's mail program, and sent there.
namespace keldane {

/// A message to be written, as plain text.
struct MailDraft {
  std::string receiver;
  std::string subject;
  std::string sender;  ///< which of the user's addresses; empty: as the mail program chooses
  std::string body;
};

/// `replyToEmail`: the draft of an answer. Fails with "SQL error: ", the server's words and the
/// statement.
[[nodiscard]] Result<MailDraft> draftReply(ServerSession& session, std::uint32_t id);

/// `forwardEmail`: the draft that carries a message on. `shownText` is the message as the viewer
/// shows it, with its line of the id and its list of attachments.
[[nodiscard]] MailDraft draftForward(std::uint32_t id, std::string_view subject,
                                     std::string_view shownText);
/// Fails with "SQL error: " and the server's words.
[[nodiscard]] Result<std::string> subjectOf(ServerSession& session, std::uint32_t id);

/// The texts that make the Mac's mail application open a draft. Every value stays within its
/// quotes, whatever it holds.
[[nodiscard]] std::string replyScript(const MailDraft& draft);
[[nodiscard]] std::string forwardScript(const MailDraft& draft);

/// Has the Mac's mail application run such a text. Fails with the words of the tool.
[[nodiscard]] Result<void> runMailScript(ToolRunner& tools, const std::string& script);

/// Writes the source of a message to a private file in this folder, to be attached to a draft that
/// carries it on. Answers its path; empty when there is no such message.
[[nodiscard]] Result<std::string> writeForwarded(const OutputContext& context, std::uint32_t id,
                                                 const std::string& folder);

/// The draft as a link, for a machine without a mail program that can be asked.
[[nodiscard]] std::string mailtoLink(const MailDraft& draft);

/// Opens the draft in the user's mail program by `xdg-email`, with a file attached if one is named;
/// it must stay until the user has sent the message. A body that is too long for a command line is
/// cut. Fails when there is no such program.
[[nodiscard]] Result<void> composeByTool(ToolRunner& tools, const MailDraft& draft,
                                         const std::string& attachmentPath = "");

}  // namespace keldane
