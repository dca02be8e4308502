#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// The encodings of the files that are written for other programs. Bytes that are no UTF-8 are read
/// as ISO Latin 1.
namespace keldane {

/// UTF-16, low byte first.
[[nodiscard]] std::string utf16(std::string_view text);
/// The same with the byte-order mark in front. Every piece of a file that is written by itself has
/// its own mark.
[[nodiscard]] std::string utf16WithMark(std::string_view text);

/// ASCII that loses nothing: each UTF-16 unit beyond ASCII as a backslash, "u" and four hexadecimal
/// digits. A backslash that the text itself has before a "u" and four such digits is escaped in the
/// same way, since it would be read as an escape; every other character of ASCII stands as it is.
[[nodiscard]] std::string nonLossyAscii(std::string_view text);

/// ASCII with a "?" for every other character.
[[nodiscard]] std::string plainAscii(std::string_view text);

/// Calls `take` with a text in pieces of at most so many bytes, cut between characters: what is
/// made of a value on its way into a file is then never as large as the value.
inline constexpr std::size_t kPieceBytes = 64 * 1024;
void inPieces(std::string_view text, const std::function<void(std::string_view piece)>& take);

}  // namespace keldane
