#include "mime/headers/header_charset.h"

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr int kUtf8 = CharsetNaming::kUtf8;

/// Whether `codePage` can be converted to UTF-8. It says nothing of bad bytes in the header: those
/// only vanish.
bool accepts(int codePage, std::string_view header) {
  LogNull log;
  DataBuffer utf8;
  EncodingConvert convert;
  return convert.EncConvert(codePage, kUtf8, header, utf8, log);
}

/// The digit behind the first `prefix` as a page number from `base` on; 0 when it is out of range.
int pageByDigit(std::string_view text, std::string_view prefix, char low, char high, int base) {
  const std::size_t at = findBytes(text, prefix);
  if (at == kNone || at + prefix.size() >= text.size()) return 0;
  const char digit = text[at + prefix.size()];
  return digit >= low && digit <= high ? base + (digit - '0') : 0;
}

/// Labels that the header itself shows.
int pageByHeaderLabel(std::string_view header) {
  const auto usable = [header](int page) { return page != 0 && accepts(page, header); };
  int page = pageByDigit(header, "windows-125", '0', '8', 1250);
  if (usable(page)) return page;
  page = pageByDigit(header, "iso-8859-", '1', '8', 28590);
  if (usable(page)) return page;
  if (containsBytes(header, "koi8-r") && usable(20866)) return 20866;
  if (containsBytes(header, "koi8-u") && usable(21866)) return 21866;
  return 0;
}

struct Label {
  std::string_view name;
  int codePage;
};

constexpr Label kFarLabels[] = {
    {"GB2312", 936},      {"shift_jis", 932}, {"Windows-31J", 932}, {"ks_c_5601-1987", 949},
    {"windows-874", 874}, {"big5", 950},      {"gbk", 936},         {"euc-kr", 51949},
};
constexpr Label kKoiLabels[] = {{"koi8-r", 20866}, {"koi8-u", 21866}};

bool testCodePage(const Label& label, std::string_view wholeText, std::string_view header) {
  return containsBytesNoCase(wholeText, label.name) && accepts(label.codePage, header);
}

/// A family of labels that differ in the digit at their end, tried in the order of the digits.
int testFamily(std::string_view prefix, char low, char high, int base, std::string_view wholeText,
               std::string_view header) {
  if (!containsBytesNoCase(wholeText, prefix)) return 0;
  bool seen[10] = {};
  for (std::size_t at = findBytesNoCase(wholeText, prefix); at != kNone;
       at = findBytesNoCase(wholeText, prefix, at + 1)) {
    const std::size_t digit = at + prefix.size();
    if (digit < wholeText.size() && wholeText[digit] >= low && wholeText[digit] <= high) {
      seen[wholeText[digit] - '0'] = true;
    }
  }
  for (char digit = low; digit <= high; ++digit) {
    const int page = base + (digit - '0');
    if (seen[digit - '0'] && accepts(page, header)) return page;
  }
  return 0;
}

/// Labels anywhere in the text, the body included: a META tag or a part's Content-Type tells.
int pageByAnyLabel(std::string_view wholeText, std::string_view header) {
  for (const Label& label : kFarLabels) {
    if (testCodePage(label, wholeText, header)) return label.codePage;
  }
  int page = testFamily("iso-8859-", '2', '9', 28590, wholeText, header);
  if (page == 0) page = testFamily("windows-125", '0', '7', 1250, wholeText, header);
  if (page != 0 || !containsBytesNoCase(wholeText, "koi8-")) return page;
  for (const Label& label : kKoiLabels) {
    if (testCodePage(label, wholeText, header)) return label.codePage;
  }
  return 0;
}

int pageByAnsi(std::string_view header, LogBase& log) {
  if (log.verbose()) {
    log.LogInfo("No code page detected yet, check to see if header is valid ANSI...");
  }
  EncodingConvert convert;
  DataBuffer utf8;
  LogNull quiet;
  if (!convert.AnsiToMultiByte(kUtf8, header.data(), header.size(), utf8, quiet)) {
    if (log.verbose()) log.LogInfo("Not ANSI, checking some common code pages...");
    if (accepts(28591, header)) return 28591;
    return accepts(28592, header) ? 28592 : 0;
  }
  if (log.verbose()) log.LogInfo("All of the bytes are valid ANSI chars.");
  StringBuffer text(header);
  int n8bit = 0;
  int nImprobable = 0;
  text.countImprobableAnsiChars(n8bit, nImprobable);
  // A few high bytes that names and subjects hardly hold in ANSI speak for cut or broken UTF-8.
  if ((n8bit < 4 && nImprobable != 0) || (n8bit < 11 && nImprobable > 2) || nImprobable >= 4) {
    if (log.verbose()) log.LogInfo("Using utf-8 because of improbable ANSI bytes...");
    return kUtf8;
  }
  return Psdk::getAnsiCodePage();
}

/// The decision for a header with 8-bit bytes and without encoded words.
int pageOfRawHeader(const HeaderCharsetInput& input, LogBase& log) {
  if (input.knownCodePage != 0) return input.knownCodePage;
  if (isValidUtf8(input.header)) return kUtf8;
  int page = pageByHeaderLabel(input.header);
  if (page == 0) page = pageByAnyLabel(input.wholeText, input.header);
  if (page != 0) return page;
  if (input.charsetClue && !input.charsetClue->isEmpty()) {
    page = CharsetNaming::GetCodePage(*input.charsetClue);
    if (page != 0) {
      if (log.verbose()) log.LogDataSb("usingCharsetClue", *input.charsetClue);
      return page;
    }
  }
  if (hasLatinUtf8Shape(input.header)) {
    if (log.verbose()) log.LogInfo("Probably utf-8");
    return kUtf8;
  }
  return pageByAnsi(input.header, log);
}

/// The charset of the first encoded word.
int pageOfFirstWord(std::string_view header) {
  const std::size_t begin = findBytes(header, "=?");
  if (begin == kNone) return 0;
  const std::size_t end = header.find('?', begin + 2);
  if (end == kNone) return 0;
  return CharsetNaming::GetCodePage_p(header.substr(begin + 2, end - begin - 2));
}

}  // namespace

HeaderCharset decideHeaderCharset(const HeaderCharsetInput& input, LogBase& log) {
  constexpr int kIso2022Jp = 50220;
  HeaderCharset charset;
  charset.is7bit = isAllAscii(input.header);
  const bool hasWords = hasEncodedWordMark(input.header);
  if (hasWords) {
    charset.codePage = pageOfFirstWord(input.header);
    if (!charset.is7bit && isValidUtf8(input.header)) {
      if (log.verbose()) {
        log.LogInfo("Header contains Q/B-encodings.");
        log.LogInfo("Header also contains 8bit chars.");
      }
      charset.codePage = kUtf8;
    }
  } else if (charset.is7bit) {
    if (log.verbose()) log.LogInfo("Header is entirely 7-bit with no Q or B encodings");
  } else {
    charset.codePage = pageOfRawHeader(input, log);
  }
  if ((charset.codePage == kIso2022Jp || (charset.is7bit && !hasWords)) &&
      hasIso2022JpEscape(input.header)) {
    if (log.verbose()) log.LogInfo("Detected raw iso-2022-jp in header.");
    charset.codePage = kUtf8;
    charset.isRawIso2022Jp = true;
  }
  if (log.verbose()) log.LogDataLong("FinalCodePageDecision", charset.codePage);
  return charset;
}

}  // namespace keldane::mime
