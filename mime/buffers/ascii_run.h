#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// The inner loops over runs of plain ASCII (bytes 01 to 7F) that all conversions share. They stop
/// at NUL too, because NUL does not come through a conversion by way of UTF-16. Each may write up
/// to 16 bytes behind what it reports, so a caller keeps that much room.
namespace keldane::mime::ascii_run {

inline constexpr std::size_t kSlack = 16;

inline bool isPlain(std::uint8_t c) { return static_cast<std::uint8_t>(c - 1) < 0x7F; }

/// Copies the run at `from`; both pointers move.
inline void copy(const std::uint8_t*& from, const std::uint8_t* end, std::uint8_t*& to) {
#if defined(__SSE2__)
  const __m128i one = _mm_set1_epi8(1);
  while (end - from >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
    // As signed bytes, everything that is not plain is below 1.
    const int stops = _mm_movemask_epi8(_mm_cmplt_epi8(block, one));
    const int run = stops == 0 ? 16 : __builtin_ctz(static_cast<unsigned>(stops));
    from += run;
    to += run;
    if (stops != 0) return;
  }
#endif
  while (from < end && isPlain(*from)) *to++ = *from++;
}

/// The same to little-endian UTF-16.
inline void widen(const std::uint8_t*& from, const std::uint8_t* end, std::uint8_t*& to) {
#if defined(__SSE2__)
  const __m128i one = _mm_set1_epi8(1);
  const __m128i zero = _mm_setzero_si128();
  while (end - from >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    if (_mm_movemask_epi8(_mm_cmplt_epi8(block, one)) != 0) break;
    auto* out = reinterpret_cast<__m128i*>(to);
    _mm_storeu_si128(out, _mm_unpacklo_epi8(block, zero));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(block, zero));
    from += 16;
    to += 32;
  }
#endif
  for (; from < end && isPlain(*from); ++from) {
    *to++ = *from;
    *to++ = 0;
  }
}

/// Little-endian UTF-16 to bytes; `end` counts whole units.
inline void narrow(const std::uint8_t*& from, const std::uint8_t* end, std::uint8_t*& to) {
#if defined(__SSE2__)
  const __m128i one = _mm_set1_epi16(1);
  const __m128i limit = _mm_set1_epi16(0x7F);
  while (end - from >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i low = _mm_cmplt_epi16(block, one);
    const __m128i high = _mm_cmpgt_epi16(block, limit);
    if (_mm_movemask_epi8(_mm_or_si128(low, high)) != 0) break;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(block, block));
    from += 16;
    to += 8;
  }
#endif
  while (from < end && from[1] == 0 && isPlain(from[0])) {
    *to++ = from[0];
    from += 2;
  }
}

}  // namespace keldane::mime::ascii_run
