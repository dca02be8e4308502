#pragma once

#include <string>
#include <string_view>

#include "ingest/reading/current_message.h"

/// The mail client's own additions to a message file: a count line before the message, and a
/// property list behind it, which may hold the tags of a tagging add-on.
namespace keldane {

/// The message without the additions. A property list replaces `tags` as a whole by its own;
/// without one they stay. The result is a piece of `text`, or of `scratch` when the text had to be
/// mended. Linear in the text.
[[nodiscard]] std::string_view strippedMessage(std::string_view text, std::string& scratch,
                                               MessageTags& tags);

/// The same, in place.
void stripPlist(std::string& text, MessageTags& tags);

/// Adds the tags that a property list holds, read line by line. The values stay as they are
/// written, XML entities included.
void findTags(std::string_view plist, MessageTags& tags);

}  // namespace keldane
