#pragma once

#include <string>
#include <string_view>

#include "mime/email/email.h"

namespace keldane::mime {

/// Kinds of multipart that are looked for by kind.
enum class Enclosure { kMixed = 1, kAlternative = 2, kRelated = 3, kDigest = 4, kReport = 5 };
/// Deepest level below the root at which an enclosure is looked for.
inline constexpr int kMaxEnclosureDepth = 3;

/// The attachments of the mail in order.
[[nodiscard]] Email2::PartList attachments(Email2& root);
/// What the related multipart of the mail holds besides its page.
[[nodiscard]] Email2::PartList relatedItems(Email2& root);
/// The part, one of its children, or one below those; null when there is none.
Email2* findMultipartEnclosure(Email2& part, Enclosure kind, int depth = 0);

// One attachment or item.
/// Replaces `out` by the file name, made up from the type when there is none.
void getFilenameUtf8(const Email2& part, std::string& out, LogBase& log);
/// Replaces `out` by the bytes, uudecoded when they still are uuencoded.
void getAttachmentData(const Email2& part, std::string& out);
/// Replaces `out` by the bytes read in the charset, up to a NUL; as they stand when the charset
/// is not known, the ANSI page without a name. False for a charset that cannot be converted, and
/// for bytes of no declared charset that are no text.
bool getRelatedString(const Email2& part, std::string_view charset, std::string& out, LogBase& log);

}  // namespace keldane::mime
