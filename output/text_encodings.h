#pragma once

#include <string>
#include <string_view>

/// The encodings of the files that are written for other programs. Bytes that are no UTF-8 are read
/// as ISO Latin 1.
namespace keldane {

/// UTF-16 with the byte-order mark in front, low byte first. Every piece of a file that is written
/// by itself has its own mark.
[[nodiscard]] std::string utf16WithMark(std::string_view text);

/// ASCII that loses nothing: each UTF-16 unit beyond ASCII as a backslash, "u" and four hexadecimal
/// digits. A backslash that the text itself has before a "u" and four such digits is escaped in the
/// same way, since it would be read as an escape; every other character of ASCII stands as it is.
[[nodiscard]] std::string nonLossyAscii(std::string_view text);

/// ASCII with a "?" for every other character.
[[nodiscard]] std::string plainAscii(std::string_view text);

}  // namespace keldane
