#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "output/export_frame.h"

namespace keldane {

/// The name of a message's own file, by date, sender, subject and id, and the mail's time in
/// seconds since 1970; 0 when it has none.
struct MessageFile {
  std::string name;
  long long time = 0;
};
[[nodiscard]] Result<MessageFile> messageFile(ServerSession& session, std::uint32_t id,
                                              std::string_view type);

/// One file a message, each the source as it lay in its own file, named by date, sender, subject
/// and id; its time is the mail's. The folder is made when it is missing. A message that is
/// exported into it again replaces its file, nothing else there is touched. After a failure and
/// after a cancel the files written before it stay.
[[nodiscard]] Result<OutputReport> exportEml(const OutputContext& context, const MessageList& list,
                                             const std::string& folder, bool requireExact);

/// The same into a Maildir, every message marked as read. The name comes of the source, so that a
/// message exported again replaces its file there too.
[[nodiscard]] Result<OutputReport> exportMaildir(const OutputContext& context,
                                                 const MessageList& list, const std::string& folder,
                                                 bool requireExact);

}  // namespace keldane
