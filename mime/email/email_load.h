#pragma once

#include <string_view>

#include "mime/email/email.h"

namespace keldane::mime {

/// The tree of a message text; null when the parser refuses the text or memory runs out. `isUtf8`
/// as in `MimeMessage2::loadMimeComplete`.
Email2::Part createFromMimeText2(const Email2::Common& common, std::string_view text, bool isUtf8,
                                 LogBase& log);
/// The tree of a parsed message, whose bodies and parts are moved out of it.
Email2::Part createFromMimeObject2(const Email2::Common& common, MimeMessage2& mime, LogBase& log);
/// Repairs of the parsed message as a whole: several recipient fields of one name, a message that
/// is itself an attachment, a mixed that should be an alternative.
void loadFromMimeTextProcessing(MimeMessage2& mime, LogBase& log);

}  // namespace keldane::mime
