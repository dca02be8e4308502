#pragma once

#include "mime/email/email.h"

namespace keldane::mime {

/// Files taken out of one uuencoded body; the rest of such a body is dropped.
inline constexpr int kMaxUuFiles = 10000;
/// Wrongly nested multiparts put right in one mail.
inline constexpr int kMaxNestingFixes = 1000;

// Repairs of one entity at load. `headerCodePage`: the charset found for its header, 0 for none.
/// The files uuencoded in the body become attachments behind the text in front of them.
bool takeUuencodedFiles(Email2& email, int headerCodePage, LogBase& log);
/// A mail that is one file and says so becomes a mixed of an empty text and the file.
bool takeBareAttachment(Email2& email, LogBase& log);
/// Wide text, text of no declared charset, and a PDF that calls itself HTML.
void fixBody(Email2& email, bool hasParts, int headerCodePage, LogBase& log);

// Repairs of the tree: an alternative (a mixed) that was put inside a related instead of around it.
void checkFixAltRelatedNesting(Email2& root, LogBase& log);
void checkFixRelMixNesting(Email2& root, LogBase& log);

}  // namespace keldane::mime
