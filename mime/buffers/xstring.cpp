#include "mime/buffers/xstring.h"

#include <bit>
#include <cstring>

#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";
constexpr bool kBigEndian = std::endian::native == std::endian::big;
constexpr int kWide16 = kBigEndian ? 1201 : 1200;
constexpr int kWide32 = kBigEndian ? 12001 : 12000;
constexpr int kUtf8 = 65001;

std::string_view withoutBom(std::string_view text) {
  if (text.substr(0, kBom.size()) == kBom) text.remove_prefix(kBom.size());
  return text;
}

bool convertTo(StringBuffer& out, int from, std::string_view bytes, int to) {
  EncodingConvert convert;
  DataBuffer converted;
  LogNull log;
  const bool ok = convert.EncConvert(from, to, bytes, converted, log);
  return out.takeFromDb(converted) && ok;
}

}  // namespace

XString::XString(const XString& other) : TarnellObject(other) { copyFromX(other); }

XString& XString::operator=(const XString& other) {
  if (this != &other) copyFromX(other);
  return *this;
}

XString::~XString() { *static_cast<volatile std::uint32_t*>(&stamp_) = 0; }

void XString::dropAllBut(bool utf8, bool ansi, bool wide) const {
  utf8Ready_ = utf8;
  ansiReady_ = ansi;
  wideReady_ = wide;
  if (!utf8) utf8_.weakClear();
  if (!ansi && !ansi_.isEmpty()) ansi_.weakClear();
  if (!wide && !wide_.isEmpty()) wide_.clear();
}

void XString::clear() {
  utf8_.weakClear();
  ansi_.weakClear();
  wide_.clear();
  dropAllBut(true, true, true);
  wideIs16bit_ = true;
}

void XString::secureClear() {
  utf8_.secureClear();
  ansi_.secureClear();
  wide_.setSecure(true);
  wide_.clearWithDeallocate();
  wide_.setSecure(secure_);
  clear();
}

void XString::setSecure(bool on) {
  secure_ = on;
  utf8_.setSecure(on);
  ansi_.setSecure(on);
  wide_.setSecure(on);
}

void XString::buildUtf8() const {
  if (ansiReady_) {
    convertTo(utf8_, Psdk::getAnsiCodePage(), ansi_.view(), kUtf8);
  } else if (wideReady_) {
    const std::uint32_t unit = wideIs16bit_ ? 2 : 4;
    utf8_.weakClear();
    if (wide_.getSize() >= 2 * unit) {
      convertTo(utf8_, wideIs16bit_ ? kWide16 : kWide32,
                wide_.view().substr(0, wide_.getSize() - unit), kUtf8);
    }
  } else {
    dropAllBut(false, false, false);
    ansiReady_ = wideReady_ = true;
  }
  utf8Ready_ = true;
}

const StringBuffer& XString::getUtf8Sb() const {
  if (!isValidObject()) {
    Psdk::badObjectFound();
    static const StringBuffer kNothing;
    return kNothing;
  }
  if (!utf8Ready_) buildUtf8();
  return utf8_;
}

StringBuffer& XString::getUtf8Sb_rw() {
  if (!utf8Ready_) buildUtf8();
  dropAllBut(true, false, false);
  return utf8_;
}

const char* XString::getAnsi() const {
  if (!ansiReady_) {
    convertTo(ansi_, kUtf8, getUtf8Sb().view(), Psdk::getAnsiCodePage());
    ansiReady_ = true;
  }
  return ansi_.getString();
}

bool XString::getConverted_cp(int codePage, DataBuffer& out) const {
  out.clear();
  EncodingConvert convert;
  LogNull log;
  return convert.EncConvert(kUtf8, codePage, utf8View(), out, log);
}

bool XString::setFromUtf8(std::string_view text) {
  dropAllBut(true, false, false);
  return utf8_.setString(withoutBom(text));
}

bool XString::setFromUtf8N(const char* text, std::size_t n) {
  return setFromUtf8(text ? std::string_view(text, n) : std::string_view());
}

bool XString::setFromSbUtf8(const StringBuffer& text) {
  if (!text.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  return setFromUtf8(text.view());
}

bool XString::takeFromUtf8Sb(StringBuffer& text) {
  if (&text == &utf8_ || !utf8_.takeSb(text)) return false;
  dropAllBut(true, false, false);
  if (utf8_.beginsWith(kBom)) utf8_.removeFromStart(kBom.size());
  return true;
}

bool XString::setFromAnsi(std::string_view text) {
  dropAllBut(false, true, false);
  return ansi_.setString(text);
}

bool XString::setFromDual(std::string_view text, bool isUtf8) {
  return isUtf8 ? setFromUtf8(text) : setFromAnsi(text);
}

bool XString::setFromWide(const void* bytes, std::size_t n, bool is16bit) {
  constexpr char kTerminator[4] = {};
  dropAllBut(false, false, true);
  wideIs16bit_ = is16bit;
  wide_.clear();
  return wide_.append(bytes, n) && wide_.append(kTerminator, is16bit ? 2 : 4);
}

bool XString::appendUtf8(std::string_view text) { return getUtf8Sb_rw().append(text); }

bool XString::appendSbUtf8(const StringBuffer& text) { return getUtf8Sb_rw().append(text); }

bool XString::appendX(const XString& other) {
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  if (&other == this) return false;
  return appendUtf8(other.utf8View());
}

bool XString::copyFromX(const XString& other) {
  if (&other == this) return true;
  if (!other.isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  if (other.utf8Ready_) {
    dropAllBut(true, false, false);
    return utf8_.setString(other.utf8_);
  }
  if (other.ansiReady_) return setFromAnsi(other.ansi_.view());
  dropAllBut(false, false, true);
  wideIs16bit_ = other.wideIs16bit_;
  wide_.clear();
  return wide_.append(other.wide_);
}

bool XString::is7bit() const { return getUtf8Sb().is7bit(0); }

bool XString::containsSubstringUtf8(std::string_view text) const {
  return getUtf8Sb().containsSubstring(text);
}

int XString::replaceAllOccurancesUtf8(std::string_view from, std::string_view to) {
  return getUtf8Sb_rw().replaceAllOccurances(from, to);
}

bool XString::qbDecode(LogBase& log) { return mime::qbDecode(getUtf8Sb_rw(), log); }

void LogDataX(LogBase& log, std::string_view name, const XString& value) {
  if (!log.nullLogging()) log.LogData(name, value.utf8View());
}

}  // namespace keldane::mime
