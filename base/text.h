#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Small operations on UTF-8 text that every floor of the archiver needs. Where a rule of the
/// archive counts "characters", it means UTF-16 units; the counting and cutting is done here only.
namespace keldane {

/// Replaces every occurrence of `from` in `text`, left to right, without looking at what was put
/// in. Does nothing when `from` is empty. Linear in the length of the result.
void replaceAll(std::string& text, std::string_view from, std::string_view to);

/// Removes every occurrence of `what`.
void removeAll(std::string& text, std::string_view what);

/// Trims white space and line ends (every Unicode space, and the controls TAB to CR and U+0085)
/// from both ends.
[[nodiscard]] std::string_view trimWhitespace(std::string_view text);

/// "\r\n" and then "\r" become "\n".
void normalizeLineEnds(std::string& text);

/// Length in UTF-16 units. Bytes that are not valid UTF-8 count one unit each.
[[nodiscard]] std::size_t utf16Length(std::string_view text);

/// The longest beginning of `text` that holds at most `units` UTF-16 units and cuts no character.
[[nodiscard]] std::string_view utf16Prefix(std::string_view text, std::size_t units);

/// Puts a character behind the text; U+FFFD for a number that is no character.
void appendUtf8(std::string& text, char32_t character);

/// Well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
[[nodiscard]] bool isValidUtf8(std::string_view text);
/// Puts U+FFFD in the place of each byte that is part of no UTF-8 character.
void repairUtf8(std::string& text);

/// Bytes of ISO Latin 1 as UTF-8.
[[nodiscard]] std::string latin1ToUtf8(std::string_view bytes);

/// Bytes that came from a server or a file as UTF-8 text: as they stand when they are valid UTF-8,
/// otherwise read as ISO Latin 1.
[[nodiscard]] std::string toUtf8(std::string_view bytes);

/// Case-insensitive order of two texts by Unicode simple case folding: negative, 0 or positive.
[[nodiscard]] int compareNoCase(std::string_view a, std::string_view b);

/// A text whose bytes compare as `compareNoCase` compares the text: for sorting many of them.
[[nodiscard]] std::string foldedKey(std::string_view text);

/// Position of `needle` in `text`, ignoring case as above; empty needles are not found.
[[nodiscard]] std::optional<std::size_t> findNoCase(std::string_view text, std::string_view needle);

/// Pieces between separators; an empty text gives one empty piece.
[[nodiscard]] std::vector<std::string> split(std::string_view text, std::string_view separator);
[[nodiscard]] std::string join(const std::vector<std::string>& pieces, std::string_view separator);

/// Decimal integer at the beginning, after white space, with an optional sign; 0 when there is
/// none; clamped to 32 bits.
[[nodiscard]] int leadingInt(std::string_view text);
/// Decimal number at the beginning, after white space; 0 when there is none.
[[nodiscard]] double leadingDouble(std::string_view text);

/// True when `text` as a whole matches `pattern`, in which `*` stands for any run of characters.
[[nodiscard]] bool matchesWildcard(std::string_view text, std::string_view pattern);

/// Last component of a path; trailing slashes are not counted.
[[nodiscard]] std::string_view lastPathComponent(std::string_view path);

/// Control characters of a text that came out of a message made visible, so that it cannot steer a
/// terminal or break a line of a log: C0, DEL and C1 become U+FFFD; TAB and line ends become
/// blanks. Characters that turn the direction of writing are left out: one that nothing closes
/// would turn the rest of the line, and the ending of a file's name.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace keldane
