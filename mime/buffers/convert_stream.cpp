// Pages with shift sequences or more than two bytes a character (EBCDIC with Kanji, HZ, EUC-TW,
// ISCII): ICU keeps their state, this room keeps the error actions.
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <algorithm>
#include <memory>

#include "mime/charsets/convert_job.h"

namespace keldane::mime {

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
