#pragma once

#include <string>

#include "output/export_frame.h"

namespace keldane {

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
