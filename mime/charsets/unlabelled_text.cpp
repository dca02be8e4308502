#include "mime/charsets/unlabelled_text.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"

namespace keldane::mime {

namespace {

constexpr int kLatin1 = 28591;

/// Calls `good(run)` for each run of UTF-8 and `bad(byte)` for each byte between them, until one of
/// them answers false.
template <typename Good, typename Bad>
bool splitUtf8(std::string_view bytes, const Good& good, const Bad& bad) {
  while (!bytes.empty()) {
    std::size_t run = 0;
    while (run < bytes.size()) {
      const std::size_t ascii = asciiRunLength(bytes.data() + run, bytes.size() - run);
      const std::size_t sequence =
          ascii != 0 ? ascii : validUtf8SequenceLength(bytes.data() + run, bytes.size() - run);
      if (sequence == 0) break;
      run += sequence;
    }
    if (run != 0 && !good(bytes.substr(0, run))) return false;
    bytes.remove_prefix(run);
    if (bytes.empty()) break;
    if (!bad(static_cast<unsigned char>(bytes.front()))) return false;
    bytes.remove_prefix(1);
  }
  return true;
}

/// How many characters of several bytes good UTF-8 holds.
std::size_t countLongCharacters(std::string_view utf8) {
  std::size_t count = 0;
  for (const char c : utf8) count += static_cast<unsigned char>(c) >= 0xC0 ? 1 : 0;
  return count;
}

}  // namespace

bool isMostlyUtf8(std::string_view bytes) {
  if (isValidUtf8(bytes)) return true;
  std::size_t characters = 0;
  std::size_t strays = 0;
  splitUtf8(
      bytes,
      [&characters](std::string_view run) {
        characters += countLongCharacters(run);
        return true;
      },
      [&strays](unsigned char) {
        ++strays;
        return true;
      });
  return characters > strays;
}

bool appendMendedUtf8(std::string_view bytes, DataBuffer& out) {
  return splitUtf8(
      bytes, [&out](std::string_view run) { return out.append(run); },
      [&out](unsigned char byte) {
        return out.appendChar(static_cast<std::uint8_t>(0xC0 | (byte >> 6))) &&
               out.appendChar(static_cast<std::uint8_t>(0x80 | (byte & 0x3F)));
      });
}

void mendUtf8(std::string& text) {
  if (isValidUtf8(text)) return;
  std::string mended;
  mended.reserve(text.size() + text.size() / 8);
  splitUtf8(
      text,
      [&mended](std::string_view run) {
        mended += run;
        return true;
      },
      [&mended](unsigned char byte) {
        mended += static_cast<char>(0xC0 | (byte >> 6));
        mended += static_cast<char>(0x80 | (byte & 0x3F));
        return true;
      });
  text = std::move(mended);
}

bool appendAllAsUtf8(int codePage, std::string_view bytes, DataBuffer& out, LogBase& log) {
  if (codePage == 0) codePage = isMostlyUtf8(bytes) ? CharsetNaming::kUtf8 : kLatin1;
  if (codePage == CharsetNaming::kUtf8) {
    return isValidUtf8(bytes) ? out.append(bytes) : appendMendedUtf8(bytes, out);
  }
  EncodingConvert convert;
  convert.setErrorAction(ErrorPolicy::kRawBytes);
  DataBuffer utf8;
  const bool ok = convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes, utf8, log);
  if (!ok && utf8.isEmpty()) {
    // A page that cannot be converted at all.
    return codePage != kLatin1 && appendAllAsUtf8(kLatin1, bytes, out, log);
  }
  return convert.foundErrors() ? appendMendedUtf8(utf8.view(), out)
                               : (out.isEmpty() ? out.takeData(utf8) : out.append(utf8));
}

int firstDeclaredPage(std::string_view text) {
  constexpr std::string_view kKey = "charset=";
  for (std::size_t at = findBytesNoCase(text, kKey); at != std::string_view::npos;
       at = findBytesNoCase(text, kKey, at + kKey.size())) {
    std::string_view name = text.substr(at + kKey.size());
    while (!name.empty() && (name.front() == '"' || name.front() == '\'')) name.remove_prefix(1);
    name = name.substr(0, name.find_first_of(" \t\r\n;>/\"'"));
    // Two letters would mean the page of this machine.
    const int page = name.size() < 3 ? 0 : CharsetNaming::GetCodePage_p(name);
    const bool isUsable = page > 100 && page != CharsetNaming::kUsAscii &&
                          page != CharsetNaming::kUtf8 && !CharsetNaming::isWide(page) &&
                          !isSevenBitCharset(page);
    if (isUsable) return page;
  }
  return 0;
}

bool isSevenBitCharset(int codePage) {
  constexpr int kHz = 52936;
  constexpr int kUtf7 = 65000;
  constexpr int kGsm = 55000;
  return (codePage >= 50220 && codePage <= 50229) || codePage == kHz || codePage == kUtf7 ||
         codePage == kGsm || (codePage >= 20105 && codePage <= 20108);
}

}  // namespace keldane::mime
