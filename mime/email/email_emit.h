#pragma once

#include "mime/email/email.h"

namespace keldane::mime {

/// Writes the message anew, appended to `out`. Changes transfer encodings of the tree where a text
/// needs it.
bool getMimeText(Email2& root, DataBuffer& out, LogBase& log);

}  // namespace keldane::mime
