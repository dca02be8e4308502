#include "mime/charsets/convert_job.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "mime/buffers/ascii_run.h"
#include "mime/buffers/byte_search.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/gsm.h"
#include "mime/charsets/iso2022.h"
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

/// From here on the page is right-to-left; below stand the accented Latin letters.
constexpr std::uint8_t kFirstRightToLeft = 0xA0;

/// The page repeats some ASCII marks 80 higher for right-to-left text.
std::uint8_t plainForm(std::uint8_t c) {
  const bool marks = (c >= 0xA0 && c <= 0xA4) || (c >= 0xA6 && c <= 0xAB) ||
                     (c >= 0xAD && c <= 0xAF) || c == 0xBA || (c >= 0xBC && c <= 0xBE) ||
                     (c >= 0xDB && c <= 0xDF) || (c >= 0xFB && c <= 0xFD);
  return marks ? static_cast<std::uint8_t>(c & 0x7F) : c;
}

/// Brings Mac Arabic text from the order on the screen to the order of reading: each run of
/// right-to-left bytes is reversed, and the right-to-left forms of ASCII marks become the plain
/// ones. False when memory runs out.
bool macArabicToLogical(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) {
  const std::size_t begin = out.getSize();
  if (!out.append(bytes, n)) return false;
  std::uint8_t* p = out.getData_rw() + begin;
  std::uint8_t* const end = p + n;
  const auto rightToLeft = [](std::uint8_t c) { return c >= kFirstRightToLeft; };
  while (p < end) {
    std::uint8_t* const first = std::find_if(p, end, rightToLeft);
    p = std::find_if_not(first, end, rightToLeft);
    std::reverse(first, p);
    std::transform(first, p, first, plainForm);
  }
  return true;
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

namespace {

using code_pages::DoublePage;
using code_pages::Page;
using code_pages::SinglePage;

constexpr std::size_t kPiece = 2048;
constexpr std::uint8_t kTripleLead = 0x8F;

/// One character of a two-byte page at `p`.
struct Step {
  char16_t c = 0;
  std::size_t length = 1;
  bool known = true;
};

Step nextOf(const DoublePage& page, const std::uint8_t* p, const std::uint8_t* end) {
  const std::uint8_t lead = *p;
  const auto left = static_cast<std::size_t>(end - p);
  Step step;
  step.c = page.single[lead];
  if (step.c != 0 || lead == 0) return step;
  if (left >= 2) {
    step.length = 2;
    step.c = page.pairs[static_cast<std::size_t>(lead << 8 | p[1])];
    if (step.c != 0) return step;
  }
  if (left >= 3 && lead == kTripleLead && !page.triples.empty()) {
    step.length = 3;
    step.c = page.triples[static_cast<std::size_t>(p[1] << 8 | p[2])];
    if (step.c != 0) return step;
  }
  step.known = false;
  step.length = page.badLeadTakesTwo && left >= 2 ? 2 : 1;
  return step;
}

/// Room to ask for at first: the worst case of a short text, a little over the size of a long one.
std::size_t firstRoom(std::size_t n, std::size_t perByte) {
  const std::size_t piece = std::min(n, kPiece);
  return (n - piece) + (n - piece) / 8 + piece * perByte + ascii_run::kSlack;
}

bool putHex(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  bool ok = out.append("&#x", 3);
  for (std::size_t i = 0; i < n; ++i) {
    ok = ok && out.appendChar(static_cast<std::uint8_t>(kDigits[bytes[i] >> 4])) &&
         out.appendChar(static_cast<std::uint8_t>(kDigits[bytes[i] & 15]));
  }
  return ok && out.appendChar(';');
}

}  // namespace

// ---- Error actions

bool ConvertJob::bad(const std::uint8_t* bytes, std::size_t n, DataBuffer& out) {
  foundErrors_ = true;
  const std::size_t begin = out.getSize();
  bool ok = true;
  switch (policy_.action) {
    case ErrorPolicy::kDefaultBytes:
      ok = out.append(policy_.defBytes, policy_.numDefBytes);
      break;
    case ErrorPolicy::kHexEntity:
      ok = putHex(bytes, n, out);
      break;
    case ErrorPolicy::kRawBytes:
      ok = out.append(bytes, n);
      break;
    case ErrorPolicy::kAlternatePage: {
      ErrorPolicy drop;
      ConvertJob alone(drop, log_);
      alone.convert(from_, policy_.altDestCodePage ? policy_.altDestCodePage : to_, bytes, n, out);
      break;
    }
    case ErrorPolicy::kByteAndNul:
      // As UTF-16 this is the character with the byte's own number, so it is converted onwards.
      return !fromSinglePage_ || (out.appendChar(bytes[0]) && out.appendChar(0));
    default:
      return true;
  }
  if (inPivot_ && out.getSize() > begin) raw_.push_back({begin, out.getSize() - begin});
  return ok;
}

bool ConvertJob::unmapped(char32_t c, const std::uint8_t* units, std::size_t n, DataBuffer& out) {
  if (policy_.action == ErrorPolicy::kDrop || policy_.action == ErrorPolicy::kByteAndNul) {
    return foundErrors_ = true;
  }
  const int from = from_;
  from_ = 1200;
  bool ok = true;
  if (policy_.action == ErrorPolicy::kHexEntity) {
    foundErrors_ = true;
    const std::uint8_t number[3] = {static_cast<std::uint8_t>(c >> 16),
                                    static_cast<std::uint8_t>(c >> 8 & 0xFF),
                                    static_cast<std::uint8_t>(c & 0xFF)};
    ok = c > 0xFFFF ? putHex(number, 3, out) : putHex(number + 1, 2, out);
  } else {
    ok = bad(units, n, out);
  }
  from_ = from;
  return ok;
}

// ---- Short ways to UTF-8; only with the action "drop"

bool ConvertJob::singleToUtf8(const SinglePage& page, const std::uint8_t* bytes, std::size_t n,
                              DataBuffer& out) {
  constexpr std::size_t kLongest = 3;
  const std::uint8_t* from = bytes;
  const std::uint8_t* const end = bytes + n;
  if (!out.ensureBuffer(firstRoom(n, kLongest))) return false;
  while (from < end) {
    const std::size_t piece = std::min(kPiece, static_cast<std::size_t>(end - from));
    const std::uint8_t* const stop = from + piece;
    std::uint8_t* const begin = out.reserveTail(piece * kLongest + ascii_run::kSlack);
    if (!begin) return false;
    std::uint8_t* to = begin;
    while (from < stop) {
      if (page.asciiLow) ascii_run::copy(from, stop, to);
      while (from < stop && !(page.asciiLow && ascii_run::isPlain(*from))) {
        const auto& text = page.toUtf8[*from];
        std::memcpy(to, text.data(), text.size());
        to += text[3];
        if (text[3] == 0 && *from != 0) foundErrors_ = true;
        ++from;
      }
    }
    out.commitTail(static_cast<std::size_t>(to - begin));
  }
  return true;
}

bool ConvertJob::doubleToUtf8(const DoublePage& page, const std::uint8_t* bytes, std::size_t n,
                              DataBuffer& out) {
  constexpr std::size_t kLongest = 3;
  const std::uint8_t* from = bytes;
  const std::uint8_t* const end = bytes + n;
  if (!out.ensureBuffer(firstRoom(n, kLongest))) return false;
  while (from < end) {
    const std::size_t piece = std::min(kPiece, static_cast<std::size_t>(end - from));
    const std::uint8_t* const stop = from + piece;
    std::uint8_t* const begin = out.reserveTail(piece * kLongest + ascii_run::kSlack);
    if (!begin) return false;
    std::uint8_t* to = begin;
    while (from < stop) {
      if (page.asciiLow && ascii_run::isPlain(*from)) {
        ascii_run::copy(from, stop, to);
        continue;
      }
      const Step step = nextOf(page, from, end);
      from += step.length;
      if (!step.known) {
        foundErrors_ = true;
      } else if (step.c != 0) {
        to += encodeUtf8Char(step.c, reinterpret_cast<char*>(to));
      }
    }
    out.commitTail(static_cast<std::size_t>(to - begin));
  }
  return true;
}

// ---- First half

bool ConvertJob::toUtf16(int from, const Page* page, const std::uint8_t* bytes, std::size_t n,
                         DataBuffer& out) {
  switch (from) {
    case 65001: {
      const bool before = foundErrors_;
      foundErrors_ = false;
      const bool ok = cv_utf8_to_utf16(bytes, n, out, *this);
      if (foundErrors_ && log_.verbose()) {
        log_.LogInfo("Found invalid utf-8 when trying to convert to utf-16.");
      }
      foundErrors_ = foundErrors_ || before;
      return ok;
    }
    case 65000:
      return decodeUtf7(bytes, n, out, *this);
    case 1200:
    case 1201: {
      const std::size_t begin = out.getSize();
      if (!out.append(bytes, n & ~std::size_t{1})) return false;
      if (from == 1201) swapBytePairs(out, begin);
      return true;
    }
    case 12000:
    case 65005:
      return cv_utf32_to_utf16(bytes, n, false, out, *this);
    case 12001:
    case 65006:
      return cv_utf32_to_utf16(bytes, n, true, out, *this);
    default:
      if (!page) return false;
      if (!page->single && !page->twoByte) {
        return streamToUtf16(page->source->name, bytes, n, out);
      }
      return tableToUtf16(*page, bytes, n, out);
  }
}

bool ConvertJob::tableToUtf16(const Page& page, const std::uint8_t* bytes, std::size_t n,
                              DataBuffer& out) {
  const std::uint8_t* from = bytes;
  const std::uint8_t* const end = bytes + n;
  const bool asciiLow = page.single ? page.single->asciiLow : page.twoByte->asciiLow;
  if (!out.ensureBuffer(2 * n + ascii_run::kSlack)) return false;
  while (from < end) {
    const std::size_t piece = std::min(kPiece, static_cast<std::size_t>(end - from));
    const std::uint8_t* const stop = from + piece;
    std::uint8_t* const begin = out.reserveTail(2 * piece + ascii_run::kSlack);
    if (!begin) return false;
    std::uint8_t* to = begin;
    Step step;
    while (from < stop && step.known) {
      if (asciiLow && ascii_run::isPlain(*from)) {
        ascii_run::widen(from, stop, to);
        continue;
      }
      if (page.single) {
        step.c = page.single->toUnicode[*from];
        step.known = step.c != 0 || *from == 0;
      } else {
        step = nextOf(*page.twoByte, from, end);
      }
      if (!step.known) break;
      to += encodeUtf16Char(step.c, to);
      from += step.length;
    }
    out.commitTail(static_cast<std::size_t>(to - begin));
    if (!step.known) {
      if (!bad(from, step.length, out)) return false;
      from += step.length;
    }
  }
  return true;
}

// ---- Second half

bool ConvertJob::pivotToTarget(int to, const Page* page, const DataBuffer& pivot, DataBuffer& out) {
  const std::uint8_t* const data = pivot.getData2();
  std::size_t done = 0;
  for (const RawStretch& raw : raw_) {
    if (!fromUtf16(to, page, data + done, raw.offset - done, out)) return false;
    if (!out.append(data + raw.offset, raw.length)) return false;
    done = raw.offset + raw.length;
  }
  return done == pivot.getSize() || fromUtf16(to, page, data + done, pivot.getSize() - done, out);
}

bool ConvertJob::fromUtf16(int to, const Page* page, const std::uint8_t* bytes, std::size_t n,
                           DataBuffer& out) {
  if (to == 65001) return cv_utf16_to_utf8(bytes, n, false, out);
  if (!page) return false;
  const std::size_t even = n & ~std::size_t{1};
  const bool ok = page->single || page->twoByte
                      ? utf16ToTable(*page, bytes, even, out)
                      : utf16ToStream(page->source->name, bytes, even, out);
  return ok && even == n;
}

bool ConvertJob::utf16ToTable(const Page& page, const std::uint8_t* bytes, std::size_t n,
                              DataBuffer& out) {
  const bool asciiLow = page.single ? page.single->asciiLow : page.twoByte->asciiLow;
  const code_pages::ReverseTable& table =
      page.single ? page.single->fromUnicode : page.twoByte->fromUnicode;
  const std::uint8_t* from = bytes;
  const std::uint8_t* const end = bytes + n;
  if (!out.ensureBuffer(n / 2 + std::min(n, kPiece) + ascii_run::kSlack)) return false;
  while (from < end) {
    const std::size_t piece = std::min(kPiece, static_cast<std::size_t>(end - from));
    const std::uint8_t* const stop = from + piece;
    std::uint8_t* const begin = out.reserveTail(piece / 2 * 3 + ascii_run::kSlack);
    if (!begin) return false;
    std::uint8_t* to = begin;
    bool known = true;
    while (from < stop) {
      if (asciiLow && from[1] == 0 && ascii_run::isPlain(from[0])) {
        ascii_run::narrow(from, stop, to);
        continue;
      }
      const char16_t c = utf16UnitAt(from);
      const std::uint32_t code = table.find(c);
      known = code != 0 || c == 0;
      if (!known) break;
      if (code > 0xFFFF) *to++ = static_cast<std::uint8_t>(code >> 16);
      if (code > 0xFF) *to++ = static_cast<std::uint8_t>(code >> 8 & 0xFF);
      *to++ = static_cast<std::uint8_t>(code & 0xFF);
      from += 2;
    }
    out.commitTail(static_cast<std::size_t>(to - begin));
    if (known) continue;
    char32_t c = utf16UnitAt(from);
    std::size_t length = 2;
    if (isLeadSurrogate(c) && end - from >= 4 && isTrailSurrogate(utf16UnitAt(from + 2))) {
      c = joinSurrogates(c, utf16UnitAt(from + 2));
      length = 4;
    }
    if (!unmapped(c, from, length, out)) return false;
    from += length;
  }
  return true;
}

// ---- Pages with shift sequences or more than two bytes a character (EBCDIC with Kanji, HZ,
// EUC-TW, ISCII): ICU keeps their state, and the error actions stay here

namespace {

constexpr std::size_t kBlock = 512;

struct Closer {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using ConverterPtr = std::unique_ptr<UConverter, Closer>;

ConverterPtr openStopping(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  ConverterPtr converter(ucnv_open(name, &status));
  if (U_FAILURE(status)) return nullptr;
  ucnv_setFallback(converter.get(), false);
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

bool putUnits(const UChar* units, const UChar* end, DataBuffer& out) {
  for (; units < end; ++units) {
    std::uint8_t bytes[2];
    encodeUtf16Char(*units, bytes);
    if (!out.append(bytes, 2)) return false;
  }
  return true;
}

}  // namespace

bool ConvertJob::streamToUtf16(const char* name, const std::uint8_t* bytes, std::size_t n,
                               DataBuffer& out) {
  const ConverterPtr converter = openStopping(name);
  if (!converter) return false;
  const char* from = reinterpret_cast<const char*>(bytes);
  const char* const end = from + n;
  while (true) {
    UChar block[kBlock];
    UChar* to = block;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_toUnicode(converter.get(), &to, block + kBlock, &from, end, nullptr, true, &status);
    if (!putUnits(block, to, out)) return false;
    if (status == U_BUFFER_OVERFLOW_ERROR) continue;
    if (U_SUCCESS(status)) return true;
    char culprit[32];
    std::int8_t length = sizeof culprit;
    UErrorCode asked = U_ZERO_ERROR;
    ucnv_getInvalidChars(converter.get(), culprit, &length, &asked);
    if (U_FAILURE(asked)) return false;
    if (!bad(reinterpret_cast<const std::uint8_t*>(culprit), static_cast<std::size_t>(length),
             out)) {
      return false;
    }
    if (from == end) return true;
  }
}

bool ConvertJob::utf16ToStream(const char* name, const std::uint8_t* bytes, std::size_t n,
                               DataBuffer& out) {
  const ConverterPtr converter = openStopping(name);
  if (!converter) return false;
  std::size_t done = 0;
  while (true) {
    // In blocks through an aligned copy: the input may stand at an odd address.
    UChar units[kBlock];
    const std::size_t count = std::min(kBlock, (n - done) / 2);
    for (std::size_t i = 0; i < count; ++i) units[i] = utf16UnitAt(bytes + done + 2 * i);
    done += 2 * count;
    const bool last = done >= n;
    const UChar* from = units;
    for (bool again = true; again;) {
      char block[kBlock];
      char* to = block;
      UErrorCode status = U_ZERO_ERROR;
      ucnv_fromUnicode(converter.get(), &to, block + kBlock, &from, units + count, nullptr, last,
                       &status);
      if (!out.append(block, static_cast<std::size_t>(to - block))) return false;
      again = U_FAILURE(status);
      if (!again || status == U_BUFFER_OVERFLOW_ERROR) continue;
      UChar culprit[4];
      std::int8_t length = 4;
      UErrorCode asked = U_ZERO_ERROR;
      ucnv_getInvalidUChars(converter.get(), culprit, &length, &asked);
      if (U_FAILURE(asked) || length == 0) return false;
      const char32_t c =
          length >= 2 ? joinSurrogates(culprit[0], culprit[1]) : char32_t{culprit[0]};
      DataBuffer wrong;
      if (!putUnits(culprit, culprit + length, wrong)) return false;
      if (!unmapped(c, wrong.getData2(), wrong.getSize(), out)) return false;
    }
    if (last) return true;
  }
}

}  // namespace keldane::mime
