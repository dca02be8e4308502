#include "find/japanese_text.h"

#include <cstdint>
#include <memory>
#include <optional>

#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace keldane {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{4} << 20U;
constexpr std::int32_t kLeastWide = 10;
constexpr std::int32_t kShareOfKana = 3;  ///< of so many wide characters one at least

bool isKana(char16_t c) { return c >= 0x3040 && c <= 0x30FF; }

/// The bytes that were read; nullopt when they cannot be Shift JIS: none of the controls stands
/// there that its first bytes turn into, or a character beyond ISO Latin 1 does.
std::optional<std::string> bytesOf(std::string_view text) {
  std::string bytes;
  bool hasControl = false;
  const auto size = static_cast<std::int32_t>(text.size());
  for (std::int32_t next = 0; next < size;) {
    UChar32 c = 0;
    U8_NEXT(text.data(), next, size, c);
    if (c < 0 || c > 0xFF) return std::nullopt;
    hasControl = hasControl || (c >= 0x80 && c < 0xA0);
    bytes += static_cast<char>(c);
  }
  return hasControl ? std::optional<std::string>(std::move(bytes)) : std::nullopt;
}

std::optional<icu::UnicodeString> fromShiftJis(const std::string& bytes) {
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, void (*)(UConverter*)> converter(
      ucnv_open("windows-932", &error), ucnv_close);
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
  if (U_FAILURE(error)) return std::nullopt;
  const icu::UnicodeString text(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                converter.get(), error);
  return U_FAILURE(error) ? std::nullopt : std::optional<icu::UnicodeString>(text);
}

}  // namespace

std::string japaneseText(std::string_view latin1Text) {
  // The first control of C1 comes soon in such a text; most texts have none and cost one look.
  if (latin1Text.size() > kMaxBytes || latin1Text.find('\xC2') == std::string_view::npos) return {};
  const std::optional<std::string> bytes = bytesOf(latin1Text);
  if (!bytes) return {};
  const std::optional<icu::UnicodeString> text = fromShiftJis(*bytes);
  if (!text) return {};
  std::int32_t wide = 0;
  std::int32_t kana = 0;
  for (std::int32_t i = 0; i < text->length(); ++i) {
    const char16_t c = text->charAt(i);
    wide += c >= 0x80 ? 1 : 0;
    kana += isKana(c) ? 1 : 0;
  }
  if (wide < kLeastWide || kana * kShareOfKana < wide) return {};
  std::string utf8;
  return text->toUTF8String(utf8);
}

}  // namespace keldane
