#include "mime/buffers/byte_search.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kTops = 0x8080808080808080ULL;

std::uint64_t load8(const char* p) {
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

/// ASCII capitals of eight bytes at once to small letters; bytes of 0x80 and above stay.
std::uint64_t lower8(std::uint64_t v) {
  const std::uint64_t low = v & ~kTops;
  const std::uint64_t fromA = low + kOnes * (0x80 - 'A');
  const std::uint64_t aboveZ = low + kOnes * (0x7F - 'Z');
  return v | (((fromA ^ aboveZ) & ~v & kTops) >> 2);
}

#if defined(__SSE2__)

/// Longer needles go to the C library: its search stays linear when a hostile boundary of thousands
/// of equal bytes meets a body of the same byte ...
constexpr std::size_t kMaxVectorNeedle = 64;
/// ... and leaps over most of a long text once the needle is long enough.
constexpr std::size_t kLeapingNeedle = 16;
constexpr std::size_t kLeapingText = 1024;

/// Looks at sixteen places at once: where the first and the last byte of the needle fit, the rest
/// is compared.
template <bool kNoCase>
class VectorSearch {
 public:
  VectorSearch(const char* hay, const char* needle, std::size_t m)
      : hay_(hay),
        needle_(needle),
        m_(m),
        firstA_(_mm_set1_epi8(kNoCase ? asciiLower(needle[0]) : needle[0])),
        firstB_(_mm_set1_epi8(asciiUpper(needle[0]))),
        lastA_(_mm_set1_epi8(kNoCase ? asciiLower(needle[m - 1]) : needle[m - 1])),
        lastB_(_mm_set1_epi8(asciiUpper(needle[m - 1]))) {}

  std::size_t find(std::size_t places) const {
    if (places < 16) return findOneByOne(places);
    for (std::size_t i = 0; i + 16 <= places; i += 16) {
      if (const std::size_t at = findInBlock(i); at != kNone) return at;
    }
    // The last block overlaps what has been looked at.
    return places % 16 == 0 ? kNone : findInBlock(places - 16);
  }

 private:
  static __m128i load(const char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }
  bool fits(std::size_t at) const {
    return m_ <= 2 || (kNoCase ? equalBytesNoCase(hay_ + at + 1, needle_ + 1, m_ - 2)
                               : std::memcmp(hay_ + at + 1, needle_ + 1, m_ - 2) == 0);
  }
  std::size_t findInBlock(std::size_t i) const {
    const __m128i a = load(hay_ + i);
    const __m128i b = load(hay_ + i + m_ - 1);
    __m128i first = _mm_cmpeq_epi8(a, firstA_);
    __m128i last = _mm_cmpeq_epi8(b, lastA_);
    if (kNoCase) {
      first = _mm_or_si128(first, _mm_cmpeq_epi8(a, firstB_));
      last = _mm_or_si128(last, _mm_cmpeq_epi8(b, lastB_));
    }
    auto mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(first, last)));
    for (; mask != 0; mask &= mask - 1) {
      const std::size_t at = i + static_cast<std::size_t>(__builtin_ctz(mask));
      if (fits(at)) return at;
    }
    return kNone;
  }
  std::size_t findOneByOne(std::size_t places) const {
    const auto same = [](char x, char y) {
      return kNoCase ? asciiLower(x) == asciiLower(y) : x == y;
    };
    for (std::size_t i = 0; i < places; ++i) {
      if (same(hay_[i], needle_[0]) && same(hay_[i + m_ - 1], needle_[m_ - 1]) && fits(i)) {
        return i;
      }
    }
    return kNone;
  }

  const char* hay_;
  const char* needle_;
  std::size_t m_;
  __m128i firstA_;
  __m128i firstB_;
  __m128i lastA_;
  __m128i lastB_;
};

#endif

std::size_t exactSearch(const char* hay, std::size_t n, const char* needle, std::size_t m) {
  if (m == 1) {
    const void* at = std::memchr(hay, needle[0], n);
    return at ? static_cast<std::size_t>(static_cast<const char*>(at) - hay) : kNone;
  }
#if defined(__SSE2__)
  const bool leaps = m >= kLeapingNeedle && n >= kLeapingText;
  if (m <= kMaxVectorNeedle && !leaps) {
    return VectorSearch<false>(hay, needle, m).find(n - m + 1);
  }
#endif
  const void* at = memmem(hay, n, needle, m);
  return at ? static_cast<std::size_t>(static_cast<const char*>(at) - hay) : kNone;
}

std::size_t foldedSearch(const char* hay, std::size_t n, const char* needle, std::size_t m) {
#if defined(__SSE2__)
  return VectorSearch<true>(hay, needle, m).find(n - m + 1);
#else
  const char lower = asciiLower(needle[0]);
  for (std::size_t i = 0; i + m <= n; ++i) {
    if (asciiLower(hay[i]) == lower && equalBytesNoCase(hay + i, needle, m)) return i;
  }
  return kNone;
#endif
}

}  // namespace

const char* tn_binstrstr(const char* haystack, std::size_t n, const char* needle, std::size_t m) {
  if (!haystack || !needle || m == 0 || n < m) return nullptr;
  const std::size_t at = exactSearch(haystack, n, needle, m);
  return at == kNone ? nullptr : haystack + at;
}

std::size_t findBytes(std::string_view haystack, std::string_view needle, std::size_t from) {
  if (needle.empty() || from > haystack.size() || haystack.size() - from < needle.size()) {
    return kNone;
  }
  const std::size_t at =
      exactSearch(haystack.data() + from, haystack.size() - from, needle.data(), needle.size());
  return at == kNone ? kNone : from + at;
}

std::size_t findBytesNoCase(std::string_view haystack, std::string_view needle, std::size_t from) {
  if (needle.empty() || from > haystack.size() || haystack.size() - from < needle.size()) {
    return kNone;
  }
  const std::size_t at =
      foldedSearch(haystack.data() + from, haystack.size() - from, needle.data(), needle.size());
  return at == kNone ? kNone : from + at;
}

bool equalBytesNoCase(const char* a, const char* b, std::size_t n) {
  if (n < 8) {
    for (std::size_t i = 0; i < n; ++i) {
      if (asciiLower(a[i]) != asciiLower(b[i])) return false;
    }
    return true;
  }
  for (std::size_t i = 0; i + 8 <= n; i += 8) {
    if (lower8(load8(a + i)) != lower8(load8(b + i))) return false;
  }
  // The last eight bytes overlap those already compared.
  return lower8(load8(a + n - 8)) == lower8(load8(b + n - 8));
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isEngineSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isEngineSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::size_t asciiRunLength(const char* bytes, std::size_t n) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= n; i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
    const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(block));
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(mask));
  }
#else
  while (i + 8 <= n && (load8(bytes + i) & kTops) == 0) i += 8;
#endif
  while (i < n && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
  return i;
}

bool isAllAscii(const char* bytes, std::size_t n) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 64 <= n; i += 64) {
    const auto* p = reinterpret_cast<const __m128i*>(bytes + i);
    const __m128i ab = _mm_or_si128(_mm_loadu_si128(p), _mm_loadu_si128(p + 1));
    const __m128i cd = _mm_or_si128(_mm_loadu_si128(p + 2), _mm_loadu_si128(p + 3));
    if (_mm_movemask_epi8(_mm_or_si128(ab, cd)) != 0) return false;
  }
#endif
  return asciiRunLength(bytes + i, n - i) == n - i;
}

std::size_t validUtf8SequenceLength(const char* bytes, std::size_t n) {
  if (n == 0) return 0;
  const auto at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const auto follows = [&at](std::size_t i) { return (at(i) & 0xC0) == 0x80; };
  const unsigned lead = at(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4 || n < 2) return 0;
  if (lead < 0xE0) return follows(1) ? 2 : 0;
  // The second byte is narrower behind the leads that could begin an overlong form, a surrogate or
  // something above U+10FFFF.
  unsigned low = 0x80;
  unsigned high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  if (at(1) < low || at(1) > high || n < 3 || !follows(2)) return 0;
  if (lead < 0xF0) return 3;
  return n >= 4 && follows(3) ? 4 : 0;
}

namespace {

/// Length of the well-formed beginning.
std::size_t validUtf8Length(const char* bytes, std::size_t n) {
  std::size_t i = 0;
  while (i < n) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    if (lead < 0x80) {
      i += asciiRunLength(bytes + i, n - i);
      continue;
    }
    if (lead >= 0xC2 && lead < 0xE0 && n - i >= 2 && (bytes[i + 1] & 0xC0) == 0x80) {
      i += 2;
      continue;
    }
    const std::size_t length = validUtf8SequenceLength(bytes + i, n - i);
    if (length == 0) return i;
    i += length;
  }
  return n;
}

}  // namespace

bool isValidUtf8(const char* bytes, std::size_t n) { return validUtf8Length(bytes, n) == n; }

bool isValidUtf8Limited(std::string_view bytes, std::size_t limit) {
  constexpr std::size_t kLongest = 4;
  if (limit >= bytes.size()) return isValidUtf8(bytes);
  const std::size_t good = validUtf8Length(bytes.data(), limit);
  if (good == limit) return true;
  const std::size_t whole = validUtf8SequenceLength(bytes.data() + good, bytes.size() - good);
  return limit - good < kLongest && whole != 0 && good + whole > limit;
}

bool hasLatinUtf8Shape(std::string_view bytes) {
  const char* p = bytes.data();
  const char* const end = p + bytes.size();
  while (p < end) {
    p += asciiRunLength(p, static_cast<std::size_t>(end - p));
    for (; p < end && static_cast<unsigned char>(*p) >= 0x80; ++p) {
      const auto c = static_cast<unsigned char>(*p);
      if ((c == 0xC2 || c == 0xC3) && p + 1 < end && static_cast<unsigned char>(p[1]) >= 0x80) {
        return true;
      }
    }
  }
  return false;
}

bool hasIso2022JpEscape(std::string_view bytes) {
  for (std::size_t at = bytes.find('\x1B'); at != kNone; at = bytes.find('\x1B', at + 1)) {
    const std::string_view escape = bytes.substr(at + 1, 2);
    if (escape == "$B" || escape == "(B") return true;
  }
  return false;
}

}  // namespace keldane::mime
