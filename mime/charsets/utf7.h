#pragma once

#include <cstddef>
#include <cstdint>

#include "mime/charsets/utf_convert.h"

/// UTF-7 (RFC 2152), to and from little-endian UTF-16.
namespace keldane::mime {

/// A byte of 0x80 or above goes to `bad`; a shifted run ends at the first byte outside base64, and
/// bits that are left over in it are dropped.
bool decodeUtf7(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, BadBytes& bad);
/// `n` counts bytes; an odd last one is dropped. Only the characters that RFC 2152 calls direct
/// stay unshifted.
bool encodeUtf7(const std::uint8_t* bytes, std::size_t n, DataBuffer& out);

}  // namespace keldane::mime
