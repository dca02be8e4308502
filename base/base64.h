#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// Puts bytes behind the text in standard base64, padded, on one line. Lines are the caller's: cut
/// at a multiple of three bytes, pieces make one text.
void appendBase64(std::string& text, std::string_view bytes);
/// The same in lines of twenty groups of four, each full line ended by a line feed.
void encodeBase64Lines(std::string_view bytes, std::string& text);
/// The bytes again. Characters outside the alphabet are ignored, and so is what follows the first
/// '='.
[[nodiscard]] std::string decodeBase64(std::string_view text);

}  // namespace keldane
