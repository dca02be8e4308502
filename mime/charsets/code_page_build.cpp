// Fills the table of one page from ICU or iconv and puts right what the row says.
#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "mime/charsets/code_pages.h"
#include "mime/charsets/utf_convert.h"

namespace keldane::mime::code_pages {

namespace {

constexpr std::uint32_t kTripleLead = 0x8F;
constexpr char16_t kUndefined = 0;

/// One character at a time out of a library's converter, and back.
class Converter {
 public:
  virtual ~Converter() = default;
  /// The one BMP character that exactly these bytes stand for; kUndefined when they stand for none,
  /// are incomplete, or stand for several.
  virtual char16_t decode(const unsigned char* bytes, std::size_t n) = 0;
  /// The bytes that stand for a character, as one number; 0 when it is not in the page.
  virtual std::uint32_t encode(char16_t c) = 0;
};

std::uint32_t asNumber(const char* bytes, std::size_t n) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < n; ++i) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

class IcuConverter final : public Converter {
 public:
  explicit IcuConverter(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    converter_ = ucnv_open(name, &status);
    if (U_FAILURE(status)) return;
    ucnv_setFallback(converter_, false);
    ucnv_setToUCallBack(converter_, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter_, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                          &status);
    usable_ = U_SUCCESS(status);
  }
  ~IcuConverter() override {
    if (converter_) ucnv_close(converter_);
  }
  IcuConverter(const IcuConverter&) = delete;
  IcuConverter& operator=(const IcuConverter&) = delete;

  [[nodiscard]] bool usable() const { return usable_; }

  char16_t decode(const unsigned char* bytes, std::size_t n) override {
    ucnv_resetToUnicode(converter_);
    UChar buffer[4];
    UChar* to = buffer;
    const char* from = reinterpret_cast<const char*>(bytes);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_toUnicode(converter_, &to, buffer + 4, &from, from + n, nullptr, true, &status);
    return U_SUCCESS(status) && to == buffer + 1 ? buffer[0] : kUndefined;
  }

  std::uint32_t encode(char16_t c) override {
    ucnv_resetFromUnicode(converter_);
    char buffer[8];
    char* to = buffer;
    const UChar unit = c;
    const UChar* from = &unit;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_fromUnicode(converter_, &to, buffer + sizeof buffer, &from, from + 1, nullptr, true,
                     &status);
    return U_SUCCESS(status) ? asNumber(buffer, static_cast<std::size_t>(to - buffer)) : 0;
  }

 private:
  UConverter* converter_ = nullptr;
  bool usable_ = false;
};

class IconvConverter final : public Converter {
 public:
  explicit IconvConverter(const char* name)
      : decoder_(iconv_open("UTF-16BE", name)), encoder_(iconv_open(name, "UTF-16BE")) {}
  ~IconvConverter() override {
    if (decoder_ != none()) iconv_close(decoder_);
    if (encoder_ != none()) iconv_close(encoder_);
  }
  IconvConverter(const IconvConverter&) = delete;
  IconvConverter& operator=(const IconvConverter&) = delete;

  [[nodiscard]] bool usable() const { return decoder_ != none() && encoder_ != none(); }

  char16_t decode(const unsigned char* bytes, std::size_t n) override {
    char out[16];
    const std::size_t size = run(decoder_, bytes, n, out, sizeof out);
    return size == 2 ? static_cast<char16_t>(asNumber(out, 2)) : kUndefined;
  }

  std::uint32_t encode(char16_t c) override {
    const unsigned char unit[2] = {static_cast<unsigned char>(c >> 8),
                                   static_cast<unsigned char>(c & 0xFF)};
    char out[8];
    return asNumber(out, run(encoder_, unit, 2, out, sizeof out));
  }

 private:
  // iconv says so. NOLINTNEXTLINE(performance-no-int-to-ptr)
  static iconv_t none() { return reinterpret_cast<iconv_t>(-1); }

  /// Bytes written; 0 when the input did not convert as a whole and without replacement.
  static std::size_t run(iconv_t handle, const unsigned char* bytes, std::size_t n, char* out,
                         std::size_t room) {
    constexpr auto kFailed = static_cast<std::size_t>(-1);
    char in[4];
    std::memcpy(in, bytes, n);
    char* from = in;
    char* to = out;
    std::size_t left = room;
    iconv(handle, nullptr, nullptr, nullptr, nullptr);
    const std::size_t replaced = iconv(handle, &from, &n, &to, &left);
    if (replaced == kFailed || replaced != 0 || n != 0) return 0;
    if (iconv(handle, nullptr, nullptr, &to, &left) == kFailed) return 0;
    return room - left;
  }

  iconv_t decoder_;
  iconv_t encoder_;
};

std::unique_ptr<Converter> openConverter(const PageSource& source) {
  if (source.origin == Origin::kIcu) {
    auto icu = std::make_unique<IcuConverter>(source.name);
    if (icu->usable()) return icu;
  } else if (source.origin == Origin::kIconv) {
    auto iconv = std::make_unique<IconvConverter>(source.name);
    if (iconv->usable()) return iconv;
  }
  return nullptr;
}

bool isHole(const PageSource& source, char16_t c) {
  return ((source.flags & kC1Undefined) != 0 && c >= 0x80 && c <= 0x9F) ||
         ((source.flags & kPrivateUndefined) != 0 && c >= 0xE000 && c <= 0xF8FF);
}

struct Correction {
  unsigned long first;
  unsigned long last;
  bool undefined;
  unsigned long to;
};

std::vector<Correction> corrections(const PageSource& source) {
  std::vector<Correction> list;
  const char* p = source.corrections;
  while (*p != '\0') {
    Correction c{};
    char* next = nullptr;
    c.first = std::strtoul(p, &next, 16);
    c.last = *next == '-' ? std::strtoul(next + 1, &next, 16) : c.first;
    c.undefined = next[1] == '-';
    if (!c.undefined) c.to = std::strtoul(next + 1, &next, 16);
    p = c.undefined ? next + 2 : next;
    while (*p == ' ') ++p;
    list.push_back(c);
  }
  return list;
}

/// The flags and the correction list of a row, on the entries of the single bytes.
void correctSingles(const PageSource& source, std::array<char16_t, 256>& table) {
  for (std::size_t b = 0; b < table.size(); ++b) {
    if ((source.flags & kAsciiLow) != 0 && b < 0x80) table[b] = static_cast<char16_t>(b);
    if (isHole(source, table[b])) table[b] = kUndefined;
  }
  for (const Correction& c : corrections(source)) {
    for (unsigned long b = c.first; b <= c.last && b < table.size(); ++b) {
      table[b] = c.undefined ? kUndefined : static_cast<char16_t>(c.to + (b - c.first));
    }
  }
}

/// Pairs can only be declared undefined.
bool isUndefinedPair(const std::vector<Correction>& list, std::uint32_t bytes) {
  for (const Correction& c : list) {
    if (c.undefined && bytes >= c.first && bytes <= c.last) return true;
  }
  return false;
}

bool isAsciiLow(const std::array<char16_t, 256>& table) {
  for (std::size_t b = 0; b < 0x80; ++b) {
    if (table[b] != b) return false;
  }
  return true;
}

std::array<char, 4> asUtf8(char16_t c) {
  std::array<char, 4> text{};
  if (c != 0) text[3] = static_cast<char>(encodeUtf8Char(c, text.data()));
  return text;
}

void finishSingle(const PageSource& source, SinglePage& page) {
  page.toUnicode[0] = 0;
  correctSingles(source, page.toUnicode);
  page.asciiLow = isAsciiLow(page.toUnicode);
  for (std::size_t b = 0; b < page.toUnicode.size(); ++b) {
    const char16_t c = page.toUnicode[b];
    page.toUtf8[b] = asUtf8(c);
    if (c != kUndefined && page.fromUnicode.find(c) == 0) {
      page.fromUnicode.add(c, static_cast<std::uint32_t>(b));
    }
  }
}

std::unique_ptr<SinglePage> buildSingle(const PageSource& source, const Page* base) {
  auto page = std::make_unique<SinglePage>();
  if (base) {
    if (!base->single) return nullptr;
    page->toUnicode = base->single->toUnicode;
  } else {
    const std::unique_ptr<Converter> converter = openConverter(source);
    if (!converter) return nullptr;
    for (unsigned b = 0; b < 256; ++b) {
      const auto byte = static_cast<unsigned char>(b);
      page->toUnicode[b] = converter->decode(&byte, 1);
    }
  }
  finishSingle(source, *page);
  return page;
}

/// Tells the reverse table which of several byte forms of a character to write: the one that the
/// source writes, else the first.
class ReverseFiller {
 public:
  ReverseFiller(ReverseTable& table, Converter& converter) : table_(table), converter_(converter) {}

  void add(char16_t c, std::uint32_t bytes) {
    if (table_.find(c) == 0 || converter_.encode(c) == bytes) table_.add(c, bytes);
  }

 private:
  ReverseTable& table_;
  Converter& converter_;
};

void fillPairs(const PageSource& source, Converter& converter, DoublePage& page) {
  ReverseFiller reverse(page.fromUnicode, converter);
  for (unsigned b = 1; b < 256; ++b) {
    if (page.single[b] != kUndefined) reverse.add(page.single[b], b);
  }
  const std::vector<Correction> list = corrections(source);
  page.pairs.resize(0x10000);
  for (std::uint32_t lead = 0x80; lead < 0x100; ++lead) {
    if (page.single[lead] != kUndefined) continue;
    for (std::uint32_t trail = 0x20; trail < 0x100; ++trail) {
      const unsigned char bytes[2] = {static_cast<unsigned char>(lead),
                                      static_cast<unsigned char>(trail)};
      const char16_t c = converter.decode(bytes, 2);
      if (c == kUndefined || isHole(source, c)) continue;
      if (isUndefinedPair(list, lead << 8 | trail)) continue;
      page.pairs[lead << 8 | trail] = c;
      reverse.add(c, lead << 8 | trail);
    }
  }
  for (std::uint32_t second = 0xA1; second < 0xFF; ++second) {
    for (std::uint32_t third = 0xA1; third < 0xFF; ++third) {
      const unsigned char bytes[3] = {kTripleLead, static_cast<unsigned char>(second),
                                      static_cast<unsigned char>(third)};
      const char16_t c = converter.decode(bytes, 3);
      if (c == kUndefined || isHole(source, c)) continue;
      if (page.triples.empty()) page.triples.resize(0x10000);
      page.triples[second << 8 | third] = c;
      reverse.add(c, kTripleLead << 16 | second << 8 | third);
    }
  }
}

/// The 94 by 94 set of a larger page.
void cutTo94x94(const DoublePage& whole, DoublePage& page) {
  page.pairs.resize(0x10000);
  for (std::uint32_t b = 1; b < 0x80; ++b) {
    page.single[b] = whole.single[b];
    page.fromUnicode.add(page.single[b], b);
  }
  for (std::uint32_t lead = 0xA1; lead < 0xFF; ++lead) {
    for (std::uint32_t trail = 0xA1; trail < 0xFF; ++trail) {
      const std::uint32_t bytes = lead << 8 | trail;
      const char16_t c = whole.pairs[bytes];
      if (c == kUndefined) continue;
      page.pairs[bytes] = c;
      // Where the whole page writes a character otherwise, this one cannot: first come, first kept.
      if (page.fromUnicode.find(c) == 0) page.fromUnicode.add(c, bytes);
    }
  }
}

std::unique_ptr<DoublePage> buildDouble(const PageSource& source, const Page* base) {
  auto page = std::make_unique<DoublePage>();
  page->badLeadTakesTwo = (source.flags & kBadLeadTakesTwo) != 0;
  if (base) {
    if (!base->twoByte) return nullptr;
    cutTo94x94(*base->twoByte, *page);
  } else {
    const std::unique_ptr<Converter> converter = openConverter(source);
    if (!converter) return nullptr;
    for (unsigned b = 1; b < 256; ++b) {
      const auto byte = static_cast<unsigned char>(b);
      page->single[b] = converter->decode(&byte, 1);
    }
    correctSingles(source, page->single);
    fillPairs(source, *converter, *page);
  }
  page->asciiLow = isAsciiLow(page->single);
  return page;
}

}  // namespace

void ReverseTable::add(char16_t c, std::uint32_t bytes) {
  std::uint16_t& block = blockOf_[c >> 8];
  if (block == 0) {
    blocks_.emplace_back();
    blocks_.back().fill(0);
    block = static_cast<std::uint16_t>(blocks_.size());
  }
  blocks_[block - 1][c & 0xFF] = bytes;
}

std::unique_ptr<Page> build(const PageSource& source, const Page* base) {
  try {
    auto page = std::make_unique<Page>();
    page->source = &source;
    switch (source.shape) {
      case Shape::kSingle:
        page->single = buildSingle(source, base);
        return page->single ? std::move(page) : nullptr;
      case Shape::kDouble:
        page->twoByte = buildDouble(source, base);
        return page->twoByte ? std::move(page) : nullptr;
      case Shape::kStream:
        return page;
    }
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return nullptr;
}

}  // namespace keldane::mime::code_pages
