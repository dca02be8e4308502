#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "mime/email/email.h"

namespace keldane::mime {

/// Texts of different types that one mail can be read as.
inline constexpr std::size_t kMaxAlternatives = 256;

[[nodiscard]] bool hasBodyOfType(Email2& root, std::string_view type);
/// Replace `out` by the mail's text of that kind; false when it has none. With a list of parts to
/// be `kept`, any other that is huge loses its body to the answer.
bool getPlainTextBodyUtf8(Email2& root, std::string& out, LogBase& log,
                          const Email2::PartList* kept = nullptr);
bool getHtmlBodyUtf8(Email2& root, std::string& out, LogBase& log,
                     const Email2::PartList* kept = nullptr);
/// The part whose bytes are the HTML text; null when there is none.
Email2* htmlLeaf(Email2& root);

}  // namespace keldane::mime
