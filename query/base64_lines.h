#pragma once

#include <string>
#include <string_view>

/// Bytes as text, the form in which attachments are held in memory and handed on.
namespace keldane {

/// Appends standard base64, with a line feed behind every 20 groups of four characters.
void encodeBase64Lines(std::string_view bytes, std::string& text);
/// The bytes again; characters outside the alphabet are ignored, and so is what follows the first
/// '='.
[[nodiscard]] std::string decodeBase64Lines(std::string_view text);

}  // namespace keldane
