#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "output/output_file.h"
#include "platform/progress.h"

namespace keldane {

/// One message as a list shows it.
struct ListedMessage {
  std::uint32_t id = 0;
  int attachments = 0;
  std::string date;  ///< in the list's style, with a star when it has tags; empty: it is gone
  std::string from;
  std::string to;
  std::string subject;
  std::string mailbox;
};

/// The messages that leave the archive, in the order shown. `row` is asked for by those only that
/// write what the list shows.
struct MessageList {
  std::size_t size = 0;
  std::function<std::uint32_t(std::size_t index)> id;
  std::function<Result<ListedMessage>(std::size_t index)> row;
};

/// A list made of ids alone: its rows are asked of the server one by one, their dates as the server
/// writes them. A message that is gone has an empty row.
[[nodiscard]] MessageList listOfIds(ServerSession& session, std::vector<std::uint32_t> ids);

/// What every operation that carries messages away stands on.
struct OutputContext {
  ServerSession& session;
  Progress& progress;
  /// Takes what the mail client has added off a raw source.
  std::function<void(std::string& source)> stripPlist;
  /// Takes the line that tells of a source which an export goes on without; empty: standard error.
  std::function<void(const std::string& line)> log = {};
};

/// How the sources of an export compare with what lay in their files.
struct SourceCounts {
  std::size_t exact = 0;      ///< to the byte
  std::size_t asText = 0;     ///< the text; its line ends or encoding may have been others
  std::size_t assembled = 0;  ///< put together at archiving from the pieces of an incomplete file
  std::size_t rebuilt = 0;    ///< no source is kept: made anew from the fields
};

struct OutputReport {
  std::size_t messages = 0;  ///< written
  SourceCounts sources;      ///< of the formats that carry sources to the byte
  /// Written without the source that the archive has: the server did not give it.
  std::size_t missedSources = 0;
  bool cancelled = false;  ///< nothing stands under the target's name
  bool isFolder = false;   ///< of one file a message: those that were written stay all the same
};

/// Sends a statement and answers its rows; `streamed` ones come from the server one by one, and no
/// other statement may run until they are gone. Fails with "SQL error: " and the server's words.
[[nodiscard]] Result<std::unique_ptr<ResultRows>> queryRows(ServerSession& session,
                                                            const std::string& sql,
                                                            bool streamed = false);
/// The end of streamed rows: a link that is cut ends them as the last row does.
[[nodiscard]] Result<void> checkEnd(ServerSession& session);
/// First cell of the answer, "0" for none.
[[nodiscard]] Result<std::string> queryCell(ServerSession& session, const std::string& sql);
/// A cell as UTF-8; empty for NULL.
[[nodiscard]] std::string textOf(const ResultRows& row, std::size_t column);
/// The same without a copy where none is needed: `recoded` holds it when it had to be made. Valid
/// for as long as that and the row.
[[nodiscard]] std::string_view viewOf(const ResultRows& row, std::size_t column,
                                      std::string& recoded);

/// Notes that a message goes on without its source, with the error in the context's log.
void missSource(const OutputContext& context, const std::string& error, OutputReport& report);

/// Takes the messages of a list through `carry`, tells of each, and ends when the user wants it or
/// one fails. Answers with `messages` and `cancelled` filled in.
[[nodiscard]] Result<OutputReport> carryEach(
    const OutputContext& context, const MessageList& list,
    const std::function<Result<void>(std::size_t index, OutputReport& report)>& carry);

/// The same into one file. What was written before a failing query stays with `keepsPart`;
/// otherwise, and after a failing write, the target is as it was.
[[nodiscard]] Result<OutputReport> carryToFile(
    const OutputContext& context, const MessageList& list, OutputFile& file, bool keepsPart,
    const std::function<Result<void>(std::size_t index, OutputReport& report)>& carry);

/// One attachment as it is stored.
struct StoredAttachment {
  std::string type;
  std::string name;
  int lengthBytes = 0;
  std::string_view bytes;  ///< valid until the next attachment
};

/// Reads a message's attachments, one at a time in memory. Answers how many there are.
[[nodiscard]] Result<std::size_t> readAttachments(
    ServerSession& session, std::uint32_t id,
    const std::function<Result<void>(const StoredAttachment&)>& take);

/// Whether an attachment of this name is the HTML version of the message itself.
[[nodiscard]] bool isOwnHtml(const std::string& name);

/// The value of an attachment as text: Base64 lines of two bytes and more, otherwise the bytes.
[[nodiscard]] std::string attachmentText(const StoredAttachment& attachment);

}  // namespace keldane
