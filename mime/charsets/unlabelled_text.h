#pragma once

#include <string>
#include <string_view>

namespace keldane::mime {

class DataBuffer;
class LogBase;

// Texts whose label is missing, or lies: how they become UTF-8 without a byte being lost. What no
// charset explains is read as ISO Latin 1, byte by byte.

/// More characters of several bytes than bytes that belong to none: UTF-8, cut or damaged in
/// places. True for good UTF-8.
[[nodiscard]] bool isMostlyUtf8(std::string_view bytes);

/// Appends the bytes with each that is part of no UTF-8 character as ISO Latin 1. False: no memory.
bool appendMendedUtf8(std::string_view bytes, DataBuffer& out);
/// The same in place, and nothing done to good UTF-8. Throws when memory runs out.
void mendUtf8(std::string& text);

/// Appends the bytes read in that page, those that it does not define as ISO Latin 1. Page 0 stands
/// for a text of unknown charset: UTF-8 when it mostly is, else ISO Latin 1. False: no memory.
bool appendAllAsUtf8(int codePage, std::string_view bytes, DataBuffer& out, LogBase& log);

/// The page of the first "charset=" in a message that can hold letters beyond ASCII and is not
/// Unicode; 0 when there is none.
[[nodiscard]] int firstDeclaredPage(std::string_view text);

/// Charsets of seven bits that are not ASCII: texts in them are told from UTF-8 by nothing but
/// their label.
[[nodiscard]] bool isSevenBitCharset(int codePage);

}  // namespace keldane::mime
