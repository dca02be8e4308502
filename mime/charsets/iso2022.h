#pragma once

#include <cstddef>
#include <cstdint>

#include "mime/buffers/data_buffer.h"

/// The 7-bit Japanese and Korean encodings, rewritten to and from the Windows pages 932 and 949 by
/// their escape and shift sequences. Each answers false when memory runs out and sets `foundErrors`
/// when something had to be dropped.
namespace keldane::mime {

/// Understands ASCII, JIS X 0201 and JIS X 0208; characters of other sets (JIS X 0212, Chinese,
/// Korean, Greek) have no place in 932 and are dropped. A line end returns to ASCII.
bool iso2022JpToShiftJis(const std::uint8_t* bytes, std::size_t n, DataBuffer& out,
                         bool& foundErrors);
bool shiftJisToIso2022Jp(const std::uint8_t* bytes, std::size_t n, DataBuffer& out,
                         bool& foundErrors);
bool iso2022KrToKsc(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, bool& foundErrors);
bool kscToIso2022Kr(const std::uint8_t* bytes, std::size_t n, DataBuffer& out, bool& foundErrors);

}  // namespace keldane::mime
