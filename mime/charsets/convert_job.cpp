#include "mime/charsets/convert_job.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "mime/buffers/byte_search.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/gsm.h"
#include "mime/charsets/iso2022.h"
#include "mime/charsets/mac_arabic.h"
#include "mime/charsets/utf7.h"

namespace keldane::mime {

namespace {

constexpr int kUtf8 = 65001;
constexpr int kUtf7 = 65000;
constexpr int kUsAscii = 20127;
constexpr int kShiftJis = 932;
constexpr int kKorean = 949;
constexpr int kGsm = 55000;
constexpr int kMacArabic = 10004;

bool isUtf32(int cp) { return cp == 12000 || cp == 12001 || cp == 65005 || cp == 65006; }
bool isBigUtf32(int cp) { return cp == 12001 || cp == 65006; }
bool isUtf16(int cp) { return cp == 1200 || cp == 1201; }
bool isIso2022Jp(int cp) { return cp >= 50220 && cp <= 50222; }
bool isIso2022Kr(int cp) { return cp == 50225; }
/// Below 100 are the names of binary encodings; 37 is the one charset among them.
bool isEncodingName(int cp) { return cp < 100 && cp != 37; }

bool takeBom(const std::uint8_t*& bytes, std::size_t& n, std::string_view bom) {
  if (n < bom.size() || std::memcmp(bytes, bom.data(), bom.size()) != 0) return false;
  bytes += bom.size();
  n -= bom.size();
  return true;
}

/// Drops a BOM of the family of `from`; in UTF-16 and UTF-32 it decides the byte order.
int applyBom(int from, const std::uint8_t*& bytes, std::size_t& n) {
  if (from == kUtf8) {
    takeBom(bytes, n, "\xEF\xBB\xBF");
  } else if (isUtf16(from)) {
    if (takeBom(bytes, n, "\xFF\xFE")) return 1200;
    if (takeBom(bytes, n, "\xFE\xFF")) return 1201;
  } else if (isUtf32(from)) {
    if (takeBom(bytes, n, std::string_view("\xFF\xFE\0\0", 4))) return 12000;
    if (takeBom(bytes, n, std::string_view("\0\0\xFE\xFF", 4))) return 12001;
  }
  return from;
}

/// Whether a page can take part at all, before anything is appended.
bool isUsable(int cp) {
  return cp == kUtf8 || cp == kUtf7 || cp == kGsm || isUtf16(cp) || isUtf32(cp) ||
         isIso2022Jp(cp) || isIso2022Kr(cp) || code_pages::find(cp) != nullptr;
}

}  // namespace

bool ConvertJob::convert(int from, int to, const std::uint8_t* bytes, std::size_t n,
                         DataBuffer& out) {
  constexpr std::string_view kPdf = "%PDF-1";
  if (!bytes || n == 0) return true;
  // A PDF that travels as text must come out undamaged.
  if (n > kPdf.size() && std::memcmp(bytes, kPdf.data(), kPdf.size()) == 0) {
    return out.append(bytes, n);
  }
  if (to == 0) to = from;
  if (from == 0) from = to;
  if (from == to) return out.append(bytes, n);
  if (isEncodingName(from) || isEncodingName(to) || !isUsable(from) || !isUsable(to)) return false;
  if (from == kMacArabic || isIso2022Jp(from) || isIso2022Kr(from)) {
    return fromRewritten(from, to, bytes, n, out);
  }
  return toRewritten(from, to, bytes, n, out);
}

bool ConvertJob::fromRewritten(int from, int to, const std::uint8_t* bytes, std::size_t n,
                               DataBuffer& out) {
  DataBuffer plain;
  bool ok = false;
  if (from == kMacArabic) {
    ok = macArabicToLogical(bytes, n, plain);
    return ok && toRewritten(from, to, plain.getData2(), plain.getSize(), out);
  }
  if (isIso2022Jp(from)) {
    ok = iso2022JpToShiftJis(bytes, n, plain, foundErrors_);
  } else {
    ok = iso2022KrToKsc(bytes, n, plain, foundErrors_);
  }
  const int page = isIso2022Jp(from) ? kShiftJis : kKorean;
  return ok && convert(page, to, plain.getData2(), plain.getSize(), out);
}

bool ConvertJob::toRewritten(int from, int to, const std::uint8_t* bytes, std::size_t n,
                             DataBuffer& out) {
  int half = 0;
  if (to == kUtf7 || to == 1201) half = 1200;
  if (isUtf32(to)) half = kUtf8;
  if (isIso2022Jp(to)) half = kShiftJis;
  if (isIso2022Kr(to)) half = kKorean;
  if (half == 0) return convertA(from, to, bytes, n, out);
  // Also when `from` is the half-way page: its BOM and its bad bytes must not get through.
  DataBuffer part;
  const bool ok = convertA(from, half, bytes, n, part);
  const std::uint8_t* const data = part.getData2();
  const std::size_t size = part.getSize();
  if (size == 0) return ok;
  if (to == kUtf7) return encodeUtf7(data, size, out) && ok;
  if (isUtf32(to)) return cv_utf8_to_utf32(data, size, isBigUtf32(to), out) && ok;
  if (isIso2022Jp(to)) return shiftJisToIso2022Jp(data, size, out, foundErrors_) && ok;
  if (isIso2022Kr(to)) return kscToIso2022Kr(data, size, out, foundErrors_) && ok;
  const std::size_t begin = out.getSize();
  if (!out.append(part)) return false;
  swapBytePairs(out, begin);
  return ok;
}

bool ConvertJob::convertA(int from, int to, const std::uint8_t* bytes, std::size_t n,
                          DataBuffer& out) {
  from = applyBom(from, bytes, n);
  if (n == 0) return true;
  from_ = from;
  to_ = to;
  if (from == kGsm) {
    DataBuffer utf8;
    if (!decodeGsm(bytes, n, utf8, *this)) return false;
    return to == kUtf8 ? out.append(utf8)
                       : convertA(kUtf8, to, utf8.getData2(), utf8.getSize(), out);
  }
  if (to == kGsm) {
    DataBuffer utf8;
    const bool ok = from == kUtf8 ? utf8.append(bytes, n) : convertA(from, kUtf8, bytes, n, utf8);
    return encodeGsm(utf8.getData2(), utf8.getSize(), out, *this) && ok;
  }
  if (from == kUsAscii) return fromUsAscii(to, bytes, n, out);
  return byPivot(from, to, bytes, n, out);
}

bool ConvertJob::fromUsAscii(int to, const std::uint8_t* bytes, std::size_t n, DataBuffer& out) {
  // Bytes above 7F in a text that calls itself us-ascii most likely belong to the target already.
  if (CharsetNaming::isLatinFamily(to) || to == kUtf8) return out.append(bytes, n);
  if (isAllAscii(reinterpret_cast<const char*>(bytes), n)) {
    const code_pages::Page* page = code_pages::find(to);
    const bool holdsAscii = page && ((page->single && page->single->asciiLow) ||
                                     (page->twoByte && page->twoByte->asciiLow));
    return holdsAscii ? out.append(bytes, n) : byPivot(kUsAscii, to, bytes, n, out);
  }
  foundErrors_ = true;
  DataBuffer ascii;
  if (!ascii.append(bytes, n)) return false;
  std::uint8_t* const begin = ascii.getData_rw();
  std::uint8_t* const end =
      std::remove_if(begin, begin + n, [](std::uint8_t c) { return c >= 0x80; });
  ascii.rollback(static_cast<std::size_t>(end - begin));
  return ascii.isEmpty() || fromUsAscii(to, ascii.getData2(), ascii.getSize(), out);
}

bool ConvertJob::byPivot(int from, int to, const std::uint8_t* bytes, std::size_t n,
                         DataBuffer& out) {
  const code_pages::Page* fromPage = code_pages::find(from);
  const code_pages::Page* toPage = code_pages::find(to);
  fromSinglePage_ = fromPage && fromPage->single;
  if (to == 1200) {
    // A change of byte order only is a copy, but for the odd last byte.
    const bool ok = toUtf16(from, fromPage, bytes, n, out);
    return ok && !(isUtf16(from) && n % 2 != 0);
  }
  if (from == 1200) return fromUtf16(to, toPage, bytes, n, out);
  if (from == 1201 && to == kUtf8) return cv_utf16_to_utf8(bytes, n, true, out);
  if (to == kUtf8 && policy_.action == ErrorPolicy::kDrop && fromPage) {
    if (fromPage->single) return singleToUtf8(*fromPage->single, bytes, n, out);
    if (fromPage->twoByte) return doubleToUtf8(*fromPage->twoByte, bytes, n, out);
  }
  DataBuffer pivot;
  inPivot_ = true;
  raw_.clear();
  const bool read = toUtf16(from, fromPage, bytes, n, pivot);
  inPivot_ = false;
  if (!read) return false;
  const bool written = pivotToTarget(to, toPage, pivot, out);
  return written && !(from == 1201 && n % 2 != 0);
}

}  // namespace keldane::mime
