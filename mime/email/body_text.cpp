#include "mime/email/body_text.h"

#include <cstddef>

#include "mime/buffers/data_buffer.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace keldane::mime {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

/// Every CR is followed by LF, every LF comes after a CR, and there is no NUL.
bool isCleanText(std::string_view text) {
  std::size_t i = 0;
  bool afterCr = false;
#if defined(__SSE2__)
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i lf = _mm_set1_epi8('\n');
  const __m128i nul = _mm_setzero_si128();
  unsigned carry = 0;
  for (; i + 16 <= text.size(); i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    const auto crs = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, cr)));
    const auto lfs = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, lf)));
    const auto nuls = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, nul)));
    if (nuls != 0 || lfs != (((crs << 1) | carry) & 0xFFFFU)) return false;
    carry = crs >> 15;
  }
  afterCr = carry != 0;
#endif
  for (; i < text.size(); ++i) {
    if (text[i] == '\0' || (text[i] == '\n') != afterCr) return false;
    afterCr = text[i] == '\r';
  }
  return !afterCr;
}

std::string_view trimmedBody(std::string_view body, bool nulsToBlanks) {
  if (body.substr(0, kBom.size()) == kBom) body.remove_prefix(kBom.size());
  while (!nulsToBlanks && !body.empty() && body.back() == '\0') body.remove_suffix(1);
  return body;
}

}  // namespace

void appendBodyAsText(std::string_view body, bool nulsToBlanks, std::string& out) {
  if (isCleanText(body)) {
    out.append(body);
    return;
  }
  if (out.empty()) out.reserve(body.size() + body.size() / 32);
  for (std::size_t i = 0; i < body.size(); ++i) {
    const char c = body[i];
    if (c == '\r' || c == '\n') {
      out += "\r\n";
      if (c == '\r' && i + 1 < body.size() && body[i + 1] == '\n') ++i;
    } else {
      out += c == '\0' && nulsToBlanks ? ' ' : c;
    }
  }
}

void bodyToText(std::string_view body, bool nulsToBlanks, std::string& out) {
  out.clear();
  appendBodyAsText(trimmedBody(body, nulsToBlanks), nulsToBlanks, out);
}

void takeBodyAsText(DataBuffer& body, bool nulsToBlanks, std::string& out) {
  const std::string_view text = trimmedBody(body.view(), nulsToBlanks);
  const auto skipped = static_cast<std::size_t>(text.data() - body.view().data());
  body.rollback(skipped + text.size());
  body.removeFromStart(skipped);
  out.clear();
  appendTakenBody(body, nulsToBlanks, out);
}

void appendTakenBody(DataBuffer& body, bool nulsToBlanks, std::string& out) {
  const std::string_view text = body.view();
  std::size_t half = text.size() / 2;
  // A line end stays whole.
  while (half < text.size() && text[half] == '\n') ++half;
  if (out.empty()) out.reserve(text.size() + text.size() / 32);
  const std::string tail(text.substr(half));
  body.rollback(half);
  body.minimizeMemoryUsage();
  appendBodyAsText(body.view(), nulsToBlanks, out);
  body.clearWithDeallocate();
  appendBodyAsText(tail, nulsToBlanks, out);
}

}  // namespace keldane::mime
