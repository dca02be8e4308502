#pragma once

#include <string>

#include "output/export_frame.h"

namespace keldane {

/// An mbox file in ASCII that loses nothing; line ends as they are kept, "From " at the beginning
/// of a line gets a blank in front. A message without a source is made anew from its fields, and
/// left out when it has no address to be answered at or no date. Of a failing query the message
/// before stays the last.
[[nodiscard]] Result<OutputReport> exportMbox(const OutputContext& context, const MessageList& list,
                                              const std::string& path);

/// An mbox file whose sources are had back to the byte: see archive/mboxrd_form.
[[nodiscard]] Result<OutputReport> exportMboxrd(const OutputContext& context,
                                                const MessageList& list, const std::string& path,
                                                bool requireExact);

}  // namespace keldane
