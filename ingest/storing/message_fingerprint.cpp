#include "ingest/storing/message_fingerprint.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kFieldCount = 6;
constexpr std::size_t kUnlimited = static_cast<std::size_t>(-1);
/// Behind the number of a value that goes on where the measure ends.
constexpr char kGoesOn = '+';
/// Shortest columns, in characters, that an archive of any age has for each value. As bytes this is
/// never more than what a server keeps, whatever it takes for a character.
constexpr std::array<std::size_t, kFieldCount> kSurvivingBytes = {255, 255, 255,
                                                                  127, 127, kFingerprintBodyBytes};

/// FNV-1a, 64 bits.
class Hash {
 public:
  void add(std::string_view bytes) {
    for (const char byte : bytes) {
      value_ = (value_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3ULL;
    }
  }
  [[nodiscard]] std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325ULL;
};

bool countsInAscii(unsigned char byte) {
  return byte > 0x20 && byte < 0x7f && byte != '?' && byte != '"' && byte != '\\';
}

/// Length of the well-formed character of two or three bytes at the beginning; 0: none is there.
/// Those of four bytes do not count, because not every server keeps them.
std::size_t wideCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lead >= 0xc2 && lead < 0xe0 ? 2 : (lead & 0xf0U) == 0xe0 ? 3 : 0;
  if (length == 0 || text.size() < length) return 0;
  return isValidUtf8(text.substr(0, length)) ? length : 0;
}

/// What is compared of one message or row, by one of the two measures.
struct Print {
  std::array<std::size_t, kFieldCount> counted{};  ///< bytes that count, value by value
  std::array<bool, kFieldCount> goesOn{};          ///< the value is longer than what is compared
  std::uint64_t hash = 0;
};

/// Feeds what counts of the text into the hash, at most `limit` bytes of it. Returns how many.
std::size_t addCounted(Hash& hash, std::string_view text, std::size_t limit, bool asciiOnly) {
  std::size_t counted = 0;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t length = countsInAscii(static_cast<unsigned char>(text[at])) ? 1 : 0;
    if (length == 0 && !asciiOnly) length = wideCharacter(text.substr(at));
    if (counted + length > limit) break;
    hash.add(text.substr(at, length));
    counted += length;
    at += length == 0 ? 1 : length;
  }
  return counted;
}

std::array<std::string_view, kFieldCount> fieldsOf(const EmailValues& values) {
  return {values.from, values.to, values.subject, values.mailto, values.mailbox, values.body};
}

/// `limits`: how much of each value counts; none for a message to be sent, of which all counts that
/// surely survives.
Print printOf(const EmailValues& values, bool asciiOnly, const Print* limits) {
  Print print;
  Hash hash;
  const auto fields = fieldsOf(values);
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    std::string_view text = fields[i];
    std::size_t limit = kUnlimited;
    if (limits == nullptr) {
      text = text.substr(0, text.find('\0'));
      print.goesOn[i] = text.size() > kSurvivingBytes[i];
      text = text.substr(0, kSurvivingBytes[i]);
    } else if (limits->goesOn[i]) {
      limit = limits->counted[i];
    }
    print.counted[i] = addCounted(hash, text, limit, asciiOnly);
    hash.add("\n");
  }
  hash.add(std::to_string(values.numAttach));
  print.hash = hash.value();
  return print;
}

void appendPrint(std::string& out, const Print& print) {
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), print.hash, 16).ptr;
  out.append(digits.data(), end);
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    out.append(".").append(std::to_string(print.counted[i]));
    if (print.goesOn[i]) out += kGoesOn;
  }
}

template <typename Number>
bool readNumber(std::string_view text, Number& number, int base) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

std::optional<Print> parsePrint(std::string_view text) {
  const std::vector<std::string> pieces = split(text, ".");
  if (pieces.size() != kFieldCount + 1) return std::nullopt;
  Print print;
  if (!readNumber(pieces[0], print.hash, 16)) return std::nullopt;
  for (std::size_t i = 0; i < kFieldCount; ++i) {
    std::string_view number = pieces[i + 1];
    print.goesOn[i] = number.ends_with(kGoesOn);
    if (print.goesOn[i]) number.remove_suffix(1);
    if (!readNumber(number, print.counted[i], 10)) return std::nullopt;
  }
  return print;
}

bool matches(const Print& sent, const EmailValues& row, bool asciiOnly) {
  const Print found = printOf(row, asciiOnly, &sent);
  return found.counted == sent.counted && found.hash == sent.hash;
}

}  // namespace

std::string fingerprintOf(const EmailValues& sent) {
  std::string text;
  appendPrint(text, printOf(sent, false, nullptr));
  text += '/';
  appendPrint(text, printOf(sent, true, nullptr));
  return text;
}

MatchLevel compareFingerprint(std::string_view fingerprint, const EmailValues& row) {
  const std::size_t slash = fingerprint.find('/');
  if (slash == std::string_view::npos) return MatchLevel::different;
  const std::optional<Print> full = parsePrint(fingerprint.substr(0, slash));
  const std::optional<Print> ascii = parsePrint(fingerprint.substr(slash + 1));
  if (!full || !ascii) return MatchLevel::different;
  if (matches(*full, row, false)) return MatchLevel::equal;
  return matches(*ascii, row, true) ? MatchLevel::ascii : MatchLevel::different;
}

}  // namespace keldane
