#include "mime/email/attachment_text.h"

#include <algorithm>
#include <array>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/code_pages.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/charsets/tn_charset.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

std::string_view withoutBom(std::string_view text) {
  return text.starts_with(kBom) ? text.substr(kBom.size()) : text;
}

std::string_view withoutTrailingNuls(std::string_view text) {
  while (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  return text;
}

/// The code page to convert from; 65001 when the bytes are to be taken as UTF-8.
int codePageOfText(const DataBuffer& body, std::string_view charsetName, LogBase& log) {
  constexpr std::size_t kLooksWideFrom = 33;
  constexpr std::size_t kLookedAt = 4096;
  _tnCharset charset;
  if (!charset.setByName(charsetName)) {
    log.LogError("Unrecognized charset, assuming utf-8.");
    charset.setByCodePage(CharsetNaming::kUtf8);
  }
  const int obvious = body.detectObviousCodePage();
  if (obvious != -1) return obvious;
  const int codePage = charset.getCodePage() == 0 ? CharsetNaming::kUtf8 : charset.getCodePage();
  if (codePage == 1200 || codePage == 1201) {
    if (body.getSize() < kLooksWideFrom || body.containsChar(0)) return codePage;
    if (log.verbose()) log.LogInfo("text has no nulls, unlikely to be utf-16LE/BE");
    return CharsetNaming::kUtf8;
  }
  return isValidUtf8Limited(body.view(), kLookedAt) ? CharsetNaming::kUtf8 : codePage;
}

/// A text of many megabytes in a charset of one byte a character, converted piece by piece: the
/// whole of it is then in memory once. False, and nothing done, for any other text.
bool convertInPieces(int codePage, std::string_view bytes, std::string& out, LogBase& log) {
  constexpr std::size_t kPiece = 1U << 20U;
  constexpr int kMacArabic = 10004;  // Letters change places in it.
  constexpr char kPdfMark = '%';     // A piece that begins as a PDF would be left alone.
  if (bytes.size() <= kPiece || bytes.front() == kPdfMark || codePage == kMacArabic) return false;
  const code_pages::Page* page = code_pages::find(codePage);
  if (!page || !page->single) return false;
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  const auto ascii = static_cast<std::size_t>(std::count_if(bytes.begin(), bytes.end(), isAscii));
  out.clear();
  out.reserve(ascii + 3 * (bytes.size() - ascii));
  EncodingConvert convert;
  while (!bytes.empty()) {
    std::size_t size = std::min(kPiece, bytes.size());
    while (size < bytes.size() && bytes[size] == kPdfMark) ++size;
    DataBuffer utf8;
    if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes.substr(0, size), utf8, log)) {
      log.LogError("charset conversion to utf-8 was not perfect.");
    }
    out.append(utf8.view());
    bytes.remove_prefix(size);
  }
  while (out.ends_with('\0')) out.pop_back();
  return true;
}

/// Bytes that should be UTF-8 and are not: the first charset that can be converted at all.
void convertByLadder(std::string_view bytes, std::string& out, LogBase& log) {
  constexpr std::array kLadder{1252, 1250, 1251, 1254, 1255, 1253, 932, 1200, 1201};
  if (convertInPieces(kLadder.front(), bytes, out, log)) return;
  EncodingConvert convert;
  for (const int codePage : kLadder) {
    DataBuffer utf8;
    if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes, utf8, log)) continue;
    out.assign(withoutTrailingNuls(withoutBom(utf8.view())));
    return;
  }
  out.assign(bytes);
}

}  // namespace

void readAttachmentText(const DataBuffer& body, std::string_view charset, std::string& out,
                        LogBase& log) {
  constexpr std::size_t kLookedAt = 4096;
  const std::string_view bytes = body.view();
  const int codePage = codePageOfText(body, charset, log);
  if (codePage != CharsetNaming::kUtf8) {
    if (convertInPieces(codePage, bytes, out, log)) return;
    EncodingConvert convert;
    DataBuffer utf8;
    if (!convert.EncConvert(codePage, CharsetNaming::kUtf8, bytes, utf8, log)) {
      log.LogError("charset conversion to utf-8 was not perfect.");
    }
    out.assign(withoutTrailingNuls(withoutBom(utf8.view())));
  } else if (bytes.starts_with(kBom) || isValidUtf8Limited(bytes, kLookedAt)) {
    out.assign(withoutTrailingNuls(withoutBom(bytes)));
  } else {
    if (log.verbose()) log.LogInfo("Not valid utf-8.");
    convertByLadder(bytes, out, log);
  }
}

}  // namespace keldane::mime
