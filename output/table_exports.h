#pragma once

#include <string>

#include "output/export_frame.h"

namespace keldane {

/// Tab-delimited text: UTF-16, each line a piece with its own byte-order mark. Tabs in a value
/// become blanks and every CR and LF a vertical tab, so that a message never leaves its line. Of a
/// failing query the message before stays the last.
[[nodiscard]] Result<OutputReport> exportTab(const OutputContext& context, const MessageList& list,
                                             const std::string& path, bool hasRawSource);

/// Comma-delimited text, encoded like that; every value is quoted and keeps its line ends.
[[nodiscard]] Result<OutputReport> exportComma(const OutputContext& context,
                                               const MessageList& list, const std::string& path,
                                               bool hasRawSource);

/// The addresses of the list's senders, receivers or both: every value once, in case-blind order,
/// one a line, ASCII. Values are not taken apart further: a name before an address stays with it.
[[nodiscard]] Result<OutputReport> exportAddresses(const OutputContext& context,
                                                   const MessageList& list, const std::string& path,
                                                   bool from, bool to);

/// Comma-separated values as RFC 4180 has them: UTF-8, CR LF, quoted where it is needed. All
/// columns of a message and its tags.
[[nodiscard]] Result<OutputReport> exportCsv(const OutputContext& context, const MessageList& list,
                                             const std::string& path);

/// One JSON object a line: all columns of a message, its tags, its source as text, and its
/// attachments as Base64, or their names, types and sizes alone.
[[nodiscard]] Result<OutputReport> exportJson(const OutputContext& context, const MessageList& list,
                                              const std::string& path, bool withAttachments);

}  // namespace keldane
