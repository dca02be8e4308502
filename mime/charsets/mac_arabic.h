#pragma once

#include <cstddef>
#include <cstdint>

#include "mime/buffers/data_buffer.h"

namespace keldane::mime {

/// Brings Mac Arabic text from the order on the screen to the order of reading: each run of
/// right-to-left bytes is reversed, and the right-to-left forms of ASCII marks become the plain
/// ones. False when memory runs out.
bool macArabicToLogical(const std::uint8_t* bytes, std::size_t n, DataBuffer& out);

}  // namespace keldane::mime
