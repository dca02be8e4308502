#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// Appends standard base64, with a line feed behind every 20 groups of four characters: the form in
/// which attachments are held in memory and handed on.
void encodeBase64Lines(std::string_view bytes, std::string& text);

}  // namespace keldane
