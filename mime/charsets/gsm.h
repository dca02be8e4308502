#pragma once

#include <cstddef>
#include <cstdint>

#include "mime/charsets/utf_convert.h"

/// The default alphabet of GSM 03.38, one septet a byte, with its escape table.
namespace keldane::mime {

/// To UTF-8. Bytes of 0x80 and above, and an escape in front of a byte that has no extended
/// character, go to `bad`.
bool decodeGsm(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, BadBytes& bad);
/// From well-formed UTF-8; a character that the alphabet lacks goes to `bad` as its bytes.
bool encodeGsm(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, BadBytes& bad);

}  // namespace keldane::mime
