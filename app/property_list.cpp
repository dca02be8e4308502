#include "app/property_list.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

#include <fmt/format.h>

#include "app/plist_readers.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kTail = "</plist>\n";
constexpr double kPastIntegers = 9223372036854775808.0;  ///< 2^63

std::string escaped(std::string_view text) {
  std::string result = toUtf8(text);
  replaceAll(result, "&", "&amp;");
  replaceAll(result, "<", "&lt;");
  replaceAll(result, ">", "&gt;");
  replaceAll(result, "\r", "&#13;");
  // XML has no way at all to hold this one.
  replaceAll(result, std::string_view("\0", 1), "\xEF\xBF\xBD");
  return result;
}

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
    unsigned bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      bits = (bits << 8U) | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? kDigits[(bits >> (18 - 6 * i)) & 0x3FU] : '=';
    }
  }
  return text;
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-infinity" : "+infinity";
  return fmt::format("{}", value);
}

/// "2023-02-03T04:05:06Z" out of seconds since 2001.
std::string dateText(std::string_view secondsText) {
  std::int64_t seconds = std::strtoll(std::string(secondsText).c_str(), nullptr, 10) + kPlistEpoch;
  std::int64_t days = seconds / 86400;
  seconds %= 86400;
  if (seconds < 0) {
    seconds += 86400;
    --days;
  }
  // Years that begin in March, in eras of 400 of them.
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t marchMonth = (5 * dayOfYear + 2) / 153;
  const std::int64_t day = dayOfYear - (153 * marchMonth + 2) / 5 + 1;
  const std::int64_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
  const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  return fmt::format("{}{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", year < 0 ? "-" : "",
                     year < 0 ? -year : year, month, day, seconds / 3600, seconds / 60 % 60,
                     seconds % 60);
}

/// Writes one value after another behind a text; notes a value that the form cannot hold.
class XmlWriter {
 public:
  explicit XmlWriter(std::string& out) : out_(out) {}

  [[nodiscard]] const std::string& fault() const { return fault_; }

  void write(const PlistValue& value, int depth) {
    if (depth > kPlistMostDepth) {
      fault_ = "the property list is too deep";
      return;
    }
    depth_ = depth;
    std::visit([this](const auto& held) { writeHeld(held); }, value.value);
    depth_ = depth;
  }

 private:
  void line(std::string_view text) {
    out_.append(static_cast<std::size_t>(depth_), '\t').append(text).append("\n");
  }
  void element(std::string_view name, std::string_view content) {
    line(fmt::format("<{0}>{1}</{0}>", name, content));
  }

  void writeHeld(const std::string& text) { element("string", escaped(text)); }
  void writeHeld(std::int64_t number) { element("integer", std::to_string(number)); }
  void writeHeld(double number) { element("real", realText(number)); }
  void writeHeld(bool yes) { line(yes ? "<true/>" : "<false/>"); }

  void writeHeld(const PlistArray& array) {
    if (array.empty()) return line("<array/>");
    line("<array>");
    const int depth = depth_;
    for (const PlistValue& item : array) write(item, depth + 1);
    depth_ = depth;
    line("</array>");
  }

  void writeHeld(const PlistDict& dict) {
    if (dict.empty()) return line("<dict/>");
    line("<dict>");
    const int depth = depth_;
    for (const auto& [key, item] : dict) {
      depth_ = depth + 1;
      element("key", escaped(key));
      write(item, depth + 1);
    }
    depth_ = depth;
    line("</dict>");
  }

  void writeHeld(const PlistOpaque& opaque) {
    switch (opaque.kind) {
      case PlistOpaque::Kind::data:
        return element("data", base64(opaque.bytes));
      case PlistOpaque::Kind::date:
        return element("date", dateText(opaque.bytes));
      case PlistOpaque::Kind::number:
        return element("integer", escaped(opaque.bytes));
      case PlistOpaque::Kind::uid:
        // As the form has it for what only binary lists hold.
        line("<dict>");
        ++depth_;
        element("key", "CF$UID");
        element("integer", escaped(opaque.bytes));
        --depth_;
        return line("</dict>");
      case PlistOpaque::Kind::null:
        fault_ = "a null value has no XML form";
    }
  }

  std::string& out_;
  int depth_ = 0;
  std::string fault_;
};

bool beginsWithNumber(std::string_view text) {
  text = trimWhitespace(text);
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

}  // namespace

std::optional<std::string> PlistValue::text() const {
  if (const auto* held = std::get_if<std::string>(&value)) return *held;
  if (const auto* held = std::get_if<std::int64_t>(&value)) return std::to_string(*held);
  if (const auto* held = std::get_if<double>(&value)) return realText(*held);
  if (const auto* held = std::get_if<bool>(&value)) return *held ? "1" : "0";
  return std::nullopt;
}

std::optional<std::int64_t> PlistValue::integer() const {
  if (const auto* held = std::get_if<std::int64_t>(&value)) return *held;
  if (const auto* held = std::get_if<bool>(&value)) return *held ? 1 : 0;
  if (const auto* held = std::get_if<double>(&value)) {
    if (!(std::abs(*held) < kPastIntegers)) return std::nullopt;
    return static_cast<std::int64_t>(*held);
  }
  const auto* held = std::get_if<std::string>(&value);
  if (held == nullptr || !beginsWithNumber(*held)) return std::nullopt;
  return leadingInt(*held);
}

std::optional<double> PlistValue::real() const {
  if (const auto* held = std::get_if<double>(&value)) return *held;
  if (const auto* held = std::get_if<std::int64_t>(&value)) return static_cast<double>(*held);
  const auto* held = std::get_if<std::string>(&value);
  if (held == nullptr || !beginsWithNumber(*held)) return std::nullopt;
  return leadingDouble(*held);
}

const PlistArray* PlistValue::array() const { return std::get_if<PlistArray>(&value); }

const PlistDict* PlistValue::dict() const { return std::get_if<PlistDict>(&value); }

PlistValue plistDate(std::int64_t seconds, int microseconds) {
  return {PlistOpaque{PlistOpaque::Kind::date, fmt::format("{}.{:06}", seconds, microseconds)}};
}

Result<PlistValue> parsePlist(std::string_view bytes) {
  return bytes.starts_with(kBinaryPlistMark) ? parseBinaryPlist(bytes) : parseXmlPlist(bytes);
}

Result<std::string> plistToXml(const PlistValue& value) {
  std::string text(kHead);
  XmlWriter writer(text);
  writer.write(value, 0);
  if (!writer.fault().empty()) return Failure{writer.fault()};
  text += kTail;
  return text;
}

}  // namespace keldane
