#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "output/export_frame.h"

namespace keldane {

/// What a deletion has done. It ends at the first statement that is refused: what was deleted by
/// then stays deleted.
struct DeletionReport {
  std::size_t messages = 0;
  std::string error;  ///< "SQL error: " and the server's words; empty: none
  bool cancelled = false;
};

/// Deletes the messages with all that the archive has of them. `forget`, when there is one, is told
/// of each that is gone: what is kept of it elsewhere, such as its words, goes too.
[[nodiscard]] DeletionReport deleteMessages(
    const OutputContext& context, const MessageList& list,
    const std::function<void(std::uint32_t id)>& forget = {});

/// Deletes the attachments of the messages. A part whose name ends in "html" is the message's text
/// and stays.
[[nodiscard]] DeletionReport deleteAttachments(const OutputContext& context,
                                               const MessageList& list);

}  // namespace keldane
