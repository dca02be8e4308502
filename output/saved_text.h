#pragma once

#include <functional>
#include <optional>
#include <string>

#include "output/export_frame.h"
#include "platform/tool_runner.h"

/// What the list holds as text for a person: saved to a file or sent to the printer.
namespace keldane {

/// A message as a person reads it: its fields with the date as the list shows it, an empty line,
/// its text, which with `stripQuoted` ends where the message replied to begins.
using ListedTextReader = std::function<Result<std::string>(
    std::uint32_t id, std::string_view listDate, bool stripQuoted)>;

/// The search text and one line a row: UTF-8 the first, ASCII that loses nothing the rows. Nothing
/// in them is escaped.
[[nodiscard]] Result<OutputReport> saveList(const OutputContext& context, const MessageList& list,
                                            const std::string& path, const std::string& whereSql);

/// The messages and the names of their attachments: UTF-16, a byte-order mark at each message and
/// each name. Of a failing query the message before stays the last.
[[nodiscard]] Result<OutputReport> saveMessages(const OutputContext& context,
                                                const MessageList& list, const std::string& path,
                                                const ListedTextReader& readText, bool stripQuoted);

/// The raw sources as they are kept, an empty line behind each. An mbox file only when the sources
/// bring separator lines of their own. `messages` counts those that have a source, and so does the
/// progress with `countsSources`.
[[nodiscard]] Result<OutputReport> saveSources(const OutputContext& context,
                                               const MessageList& list, const std::string& path,
                                               bool countsSources = false);

struct AttachmentsReport {
  std::size_t files = 0;
  bool lastHadAttachments = false;  ///< the last message of the list; alone decides on the "saved"
  bool cancelled = false;
};
/// The attachments of the messages into a folder, without the messages' own HTML: each file named
/// by the message's id and the safe form of its own name, with a number behind it where that is
/// taken. The progress counts files; those written before a failure stay. Fails with "Couldn't open
/// " and the path, with what the server has refused, or with the file that could not be written.
[[nodiscard]] Result<AttachmentsReport> saveAllAttachments(const OutputContext& context,
                                                           const MessageList& list,
                                                           const std::string& folder);

/// One message as it is printed by itself: its text, and the names of its attachments.
[[nodiscard]] Result<std::string> printedMessage(const OutputContext& context,
                                                 const ListedMessage& message,
                                                 const ListedTextReader& readText,
                                                 bool stripQuoted);
/// All messages as one text. nullopt: cancelled.
[[nodiscard]] Result<std::optional<std::string>> printedList(const OutputContext& context,
                                                             const MessageList& list,
                                                             const ListedTextReader& readText,
                                                             bool stripQuoted);

/// Sends a text to the printer of this name, or to the usual one. Fails with the words of `lp`.
[[nodiscard]] Result<void> sendToPrinter(ToolRunner& tools, const std::string& text,
                                         const std::string& printer = "");

}  // namespace keldane
