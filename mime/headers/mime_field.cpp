#include "mime/headers/mime_field.h"

#include <algorithm>
#include <array>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/charsets/charset_naming.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

/// One numbered parameter, `attr`*N="...", in a value.
struct StarPart {
  std::size_t begin = kNone;
  std::size_t textBegin = kNone;
  /// The closing quote; npos when it is missing.
  std::size_t textEnd = kNone;
};

StarPart findStarPart(std::string_view value, std::string_view attr, int number) {
  StringBuffer key;
  key.append2(attr, "*");
  key.appendInt(number);
  key.append("=\"");
  StarPart part;
  for (std::size_t at = findBytes(value, key.view()); at != kNone;
       at = findBytes(value, key.view(), at + 1)) {
    // "name*0" must not be found in "filename*0".
    if (at != 0 && value[at - 1] != ';' && !isEngineSpace(value[at - 1])) continue;
    part.begin = at;
    part.textBegin = at + key.getSize();
    part.textEnd = value.find('"', part.textBegin);
    break;
  }
  return part;
}

/// The beginning of the part together with the separator in front of it.
std::size_t withSeparator(std::string_view value, std::size_t begin) {
  while (begin > 0 && isEngineSpace(value[begin - 1])) --begin;
  return begin > 0 && value[begin - 1] == ';' ? begin - 1 : begin;
}

/// NUL bytes fall off the end of a stored text, and more blanks may come to light each time.
void trimStored(StringBuffer& text) {
  while (isEngineSpace(text.lastChar()) || isEngineSpace(text.charAt(0))) text.trim2();
}

void makeNameSafe(StringBuffer& name) {
  char* p = name.getString_rw();
  for (char* const end = p + name.getSize(); p < end; ++p) {
    if (*p == ' ' || *p == '<' || *p == '>' || *p == '"' || *p == '\'') *p = '-';
  }
}

}  // namespace

MimeField::~MimeField() { *static_cast<volatile std::uint32_t*>(&stamp_) = 0; }

bool MimeField::isAddressField(std::string_view name) {
  switch (name.size()) {
    case 2:
      return equalsNoCase(name, "to") || equalsNoCase(name, "cc");
    case 3:
      return equalsNoCase(name, "bcc");
    case 4:
      return equalsNoCase(name, "from");
    case 6:
      return equalsNoCase(name, "sender");
    case 8:
      return equalsNoCase(name, "reply-to");
    case 9:
      return equalsNoCase(name, "resent-to") || equalsNoCase(name, "resent-cc");
    case 10:
      return equalsNoCase(name, "resent-bcc");
    case 11:
      return equalsNoCase(name, "return-path") || equalsNoCase(name, "resent-from");
    case 18:
      return equalsNoCase(name, "TNX-Bounce-Address");
    default:
      return false;
  }
}

bool MimeField::setMfContentsLine(std::string_view line, const MimeControl& control, LogBase& log) {
  const std::size_t colon = line.find(':');
  if (colon == kNone) return false;
  std::string_view value = line.substr(colon + 1);
  if (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
  return setMfContents(line.substr(0, colon), value, control, log);
}

bool MimeField::setMfContents(std::string_view name, std::string_view value,
                              const MimeControl& control, LogBase& log) {
  if (!name_.setString(trimmed(name))) return false;
  trimStored(name_);
  name_.minimizeMemoryUsage();
  return setMfValue(value, control, log);
}

bool MimeField::setMfValue(std::string_view value, const MimeControl& control, LogBase& log) {
  // Outer blanks go first: they never matter, and most values then fit inside the object.
  if (!value_.setString(trimmed(value))) return false;
  setMfPostProcess(control, log);
  value_.minimizeMemoryUsage();
  return true;
}

void MimeField::setMfPostProcess(const MimeControl& control, LogBase& log) {
  const bool isAddress = isAddressField(name_.view());
  if (control.rawMode) {
    kind_ = isAddress ? kAddresses : kPlain;
    return;
  }
  hadEncodedWords_ = hasEncodedWordMark(value_.view());
  if (hadEncodedWords_) {
    if (containsBytes(value_.view(), "name*0=") &&
        (containsBytes(value_.view(), "?B?") || containsBytes(value_.view(), "?Q?"))) {
      combineStarQB(containsBytes(value_.view(), "filename*0=") ? "filename" : "name");
    }
    if (!isAddress) ContentCoding().QB_DecodeToUtf8(value_, log);
  }
  if (!isAddress) {
    value_.removeCharOccurances('\r');
    value_.removeCharOccurances('\n');
  }
  makeNameSafe(name_);
  decideKind(isAddress);
  if (control.extraTrim) value_.trimInsideSpaces();
  trimStored(value_);
}

void MimeField::decideKind(bool isAddress) {
  const std::string_view name = name_.view();
  allowEncoding_ = true;
  kind_ = isAddress ? kAddresses : kPlain;
  switch (name.size()) {
    case 8:
      if (hadEncodedWords_ && equalsNoCase(name, "received")) allowEncoding_ = false;
      break;
    case 10:
      if (equalsNoCase(name, "user-agent")) allowEncoding_ = false;
      return;
    case 12:
      if (equalsNoCase(name, "content-type")) kind_ = kAttributes;
      break;
    case 16:
      if (equalsNoCase(name, "content-location")) kind_ = kAttributes;
      break;
    case 19:
      if (equalsNoCase(name, "content-disposition")) kind_ = kAttributes;
      break;
    case 25:
      if (hadEncodedWords_ && equalsNoCase(name, "content-transfer-encoding")) {
        allowEncoding_ = false;
      }
      break;
    default:
      return;
  }
  if (kind_ == kAttributes || !allowEncoding_) value_.replaceCharAnsi('\t', ' ');
}

void MimeField::combineStarQB(std::string_view attr) {
  constexpr int kMaxParts = 100;
  struct Span {
    std::size_t begin;
    std::size_t end;
  };
  std::array<Span, kMaxParts> spans;
  int count = 0;
  const std::string_view value = value_.view();
  StringBuffer combined;
  combined.append2(attr, "=\"");
  std::size_t first = kNone;
  for (; count < kMaxParts; ++count) {
    const StarPart part = findStarPart(value, attr, count);
    if (part.begin == kNone || part.textEnd == kNone) break;
    combined.append(value.substr(part.textBegin, part.textEnd - part.textBegin));
    if (count == 0) first = part.begin;
    const std::size_t begin = count == 0 ? part.begin : withSeparator(value, part.begin);
    spans[static_cast<std::size_t>(count)] = {begin, part.textEnd + 1};
  }
  if (count == 0) return;
  combined.append("\"");
  std::sort(spans.begin(), spans.begin() + count,
            [](const Span& a, const Span& b) { return a.begin < b.begin; });
  StringBuffer result;
  std::size_t done = 0;
  bool placed = false;
  for (int i = 0; i < count; ++i) {
    const Span span = spans[static_cast<std::size_t>(i)];
    // A part whose name stood inside the text of another one went with that.
    if (span.begin < done) continue;
    result.append(value.substr(done, span.begin - done));
    if (span.begin == first) placed = result.append(combined);
    done = span.end;
  }
  result.append(value.substr(done));
  if (!placed) result.append2("; ", combined.view());
  value_.takeSb(result);
}

// ---- Back to header text: folded, 8-bit values as encoded words

namespace {

constexpr std::string_view kFold = "\r\n ";

/// Length of the UTF-8 character at the beginning; 1 for a byte that begins none.
std::size_t characterLength(std::string_view text) {
  const std::size_t length = validUtf8SequenceLength(text.data(), text.size());
  return length == 0 ? 1 : length;
}

/// Writes texts as encoded words of at most 75 characters, one a line. No character is cut in two,
/// since each word is decoded for itself.
class WordWriter {
 public:
  WordWriter(int codePage, std::size_t column, StringBuffer& out, LogBase& log)
      : column_(column), out_(out), log_(log), wantedPage_(codePage) {}

  void write(std::string_view text) {
    choosePage(text);
    const bool useB = favoursB(text);
    const std::size_t overhead = charset_.size() + 7;  // "=?", "?Q?" and "?="
    // The first word shares its line with what stands in front of it, if that leaves room.
    std::size_t taken = column_ + overhead;
    bool foldFirst = taken + kLeastRoom > kLongestWord;
    while (!text.empty()) {
      if (foldFirst) {
        out_.append(kFold);
        taken = overhead + 1;
      }
      foldFirst = true;
      const std::size_t room = kLongestWord - taken;
      const std::size_t size = useB ? takeForB(text, room) : takeForQ(text, room);
      writeWord(text.substr(0, size), useB);
      text.remove_prefix(size);
    }
  }

 private:
  static constexpr std::size_t kLongestWord = 75;
  static constexpr std::size_t kLeastRoom = 24;

  /// The message's charset when it holds the whole text, else UTF-8, so that nothing is lost.
  void choosePage(std::string_view text) {
    page_ = wantedPage_;
    charset_ = CharsetNaming::charsetName(page_);
    constexpr int kUtf7 = 65000;
    const bool isUsable = page_ >= 100 && page_ != CharsetNaming::kUsAscii && page_ != kUtf7 &&
                          !CharsetNaming::isWide(page_) && !charset_.empty();
    if (isUsable && (page_ == CharsetNaming::kUtf8 || canEncode(text))) return;
    page_ = CharsetNaming::kUtf8;
    charset_ = "utf-8";
  }

  /// A page that cannot hold a character drops it, which shows in the way back.
  bool canEncode(std::string_view text) {
    LogNull quiet;
    EncodingConvert convert;
    DataBuffer bytes;
    if (!convert.EncConvert(CharsetNaming::kUtf8, page_, text, bytes, quiet)) return false;
    DataBuffer back;
    if (!convert.EncConvert(page_, CharsetNaming::kUtf8, bytes.view(), back, quiet)) return false;
    return back.view() == text;
  }

  static bool favoursB(std::string_view text) {
    const auto high = std::count_if(text.begin(), text.end(),
                                    [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    return static_cast<std::size_t>(high) * 3 > text.size();
  }

  static std::size_t takeForB(std::string_view text, std::size_t room) {
    const std::size_t most = room / 4 * 3;
    std::size_t size = characterLength(text);
    while (size < text.size()) {
      const std::size_t length = characterLength(text.substr(size));
      if (size + length > most) break;
      size += length;
    }
    return size;
  }

  static std::size_t takeForQ(std::string_view text, std::size_t room) {
    std::size_t size = 0;
    std::size_t width = 0;
    while (size < text.size()) {
      const std::size_t length = characterLength(text.substr(size));
      const std::size_t wanted =
          ContentCoding::isPlainInQ(text[size]) || text[size] == ' ' ? 1 : 3 * length;
      if (size != 0 && width + wanted > room) break;
      width += wanted;
      size += length;
    }
    return size;
  }

  void writeWord(std::string_view text, bool useB) {
    DataBuffer converted;
    std::string_view bytes = text;
    if (page_ != CharsetNaming::kUtf8) {
      EncodingConvert convert;
      convert.EncConvert(CharsetNaming::kUtf8, page_, text, converted, log_);
      bytes = converted.view();
    }
    if (useB) {
      ContentCoding().bEncodeData2(bytes.data(), bytes.size(), charset_, out_);
    } else {
      ContentCoding().qEncodeData2(bytes.data(), bytes.size(), charset_, out_);
    }
  }

  std::size_t column_;
  StringBuffer& out_;
  LogBase& log_;
  int wantedPage_;
  int page_ = 0;
  std::string_view charset_;
};

/// The end of the quoted string that begins at `at`, behind its closing quote.
std::size_t quotedEnd(std::string_view text, std::size_t at) {
  for (std::size_t i = at + 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return text.size();
}

/// A phrase in front of an address, with its quoted strings opened: words replace the quotes.
void appendUnquoted(std::string_view phrase, StringBuffer& out) {
  bool quoted = false;
  for (std::size_t i = 0; i < phrase.size(); ++i) {
    if (phrase[i] == '"') {
      quoted = !quoted;
    } else {
      if (quoted && phrase[i] == '\\' && i + 1 < phrase.size()) ++i;
      out.appendChar(phrase[i]);
    }
  }
}

/// Only names are encoded: the addresses must stay readable to every other program.
void encodeAddresses(std::string_view value, WordWriter& words, StringBuffer& out) {
  std::size_t at = 0;
  while (at < value.size()) {
    const char c = value[at];
    if (c == '<') {
      const std::size_t end = value.find('>', at);
      const std::size_t size = end == kNone ? value.size() - at : end + 1 - at;
      out.append(value.substr(at, size));
      at += size;
      continue;
    }
    std::size_t end = at;
    while (end < value.size() && std::string_view("<,;:()").find(value[end]) == kNone) {
      end = value[end] == '"' ? quotedEnd(value, end) : end + 1;
    }
    const std::string_view phrase = value.substr(at, end - at);
    const std::string_view core = trimmed(phrase);
    if (phrase.empty()) {
      out.appendChar(c);
      ++at;
      continue;
    }
    at = end;
    if (isAllAscii(core) || (core.front() != '"' && core.find('@') != kNone)) {
      out.append(phrase);
      continue;
    }
    const auto before = static_cast<std::size_t>(core.data() - phrase.data());
    StringBuffer name;
    appendUnquoted(core, name);
    out.append(phrase.substr(0, before));
    words.write(name.view());
    out.append(phrase.substr(before + core.size()));
  }
}

bool isAttributeName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '*' || c == '.';
  });
}

/// Each attribute value for itself, inside its quotes: what stands around it is for parsers.
void encodeAttributes(std::string_view value, WordWriter& words, StringBuffer& out) {
  std::size_t at = 0;
  while (at < value.size()) {
    std::size_t end = at;
    while (end < value.size() && value[end] != ';') {
      end = value[end] == '"' ? quotedEnd(value, end) : end + 1;
    }
    const std::string_view piece = value.substr(at, end - at);
    at = end;
    if (isAllAscii(piece)) {
      out.append(piece);
    } else {
      std::string_view text = piece;
      const std::size_t equals = piece.find('=');
      const bool isAttribute = equals != kNone && isAttributeName(trimmed(piece.substr(0, equals)));
      if (isAttribute) text.remove_prefix(equals + 1);
      out.append(piece.substr(0, piece.size() - text.size()));
      text = trimmed(text);
      // Escapes inside the quotes go into the words as they stand, so that they come back so.
      const bool isQuoted = text.size() >= 2 && quotedEnd(text, 0) == text.size() &&
                            text.front() == '"' && text.back() == '"';
      const bool addQuotes = isQuoted || (isAttribute && text.find('"') == kNone);
      if (isQuoted) text = text.substr(1, text.size() - 2);
      if (addQuotes) out.appendChar('"');
      words.write(text);
      if (addQuotes) out.appendChar('"');
    }
    if (at < value.size()) out.appendChar(value[at++]);
  }
}

bool isSeparator(char c) { return c == ';' || c == ','; }

}  // namespace

void appendWithFolding(std::string_view line, MimeField::Kind kind, StringBuffer& out) {
  constexpr std::size_t kShortEnough = 79;
  constexpr std::size_t kFoldAtSpace = 69;
  constexpr std::size_t kFoldAtSeparator = 33;
  if (line.size() < kShortEnough) {
    out.append(line);
    return;
  }
  // A fold takes the place of a blank, and two of them are 33 characters apart or more.
  out.expectNumBytes(line.size() + line.size() / 16 + 2);
  bool quoted = false;
  std::size_t column = 0;
  std::size_t written = 0;  // of the line
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"') quoted = !quoted;
    if (c == '\n') {
      column = 0;
      continue;
    }
    const bool mayFold = c == ' ' && !quoted && column >= kFoldAtSeparator && i + 1 < line.size() &&
                         line[i + 1] != '>';
    if (mayFold &&
        (column >= kFoldAtSpace || (kind != MimeField::kPlain && isSeparator(line[i - 1])))) {
      out.append2(line.substr(written, i - written), kFold);
      written = i + 1;
      column = 1;
      continue;
    }
    ++column;
  }
  out.append(line.substr(written));
}

bool MimeField::appendEncodedValue(StringBuffer& out, int codePage, LogBase& log) const {
  LogContextExitor context(log, "emitMfEncoded");
  WordWriter words(codePage, name_.getSize() + 2, out, log);
  switch (kind_) {
    case kAddresses:
      encodeAddresses(value_.view(), words, out);
      break;
    case kAttributes:
      encodeAttributes(value_.view(), words, out);
      break;
    case kPlain:
      words.write(value_.view());
      break;
  }
  return true;
}

void MimeField::emitMfEncoded(StringBuffer& out, int codePage, const MimeControl& control,
                              LogBase& log) const {
  const std::string_view value = value_.view();
  const bool encode =
      allowEncoding_ && !control.rawMode && !isAllAscii(value) && !hasEncodedWordMark(value);
  StringBuffer line;
  // A buffer left to itself grows in steps that a value of many megabytes would take forever in.
  line.expectNumBytes(name_.getSize() + 2 + value.size());
  line.append2(name_.view(), ": ");
  if (encode) {
    appendEncodedValue(line, codePage, log);
  } else {
    line.append(value);
    // A value set by a program may hold line ends, and each of them would begin a field of its own.
    line.removeCharOccurances('\r');
    line.removeCharOccurances('\n');
  }
  appendWithFolding(line.view(), kind_, out);
}

}  // namespace keldane::mime
