#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"

namespace keldane {

struct PlistValue;
using PlistArray = std::vector<PlistValue>;
using PlistDict = std::map<std::string, PlistValue>;

/// What the archiver only carries along.
struct PlistOpaque {
  enum class Kind { data, date, uid, null, number } kind = Kind::null;
  /// data: the bytes; date: "seconds.microseconds" since 2001, the seconds rounded down; uid:
  /// decimal; number: an integer too large for 64 signed bits, decimal.
  std::string bytes;
  bool operator==(const PlistOpaque&) const = default;
};

/// A value of a property list.
struct PlistValue {
  std::variant<std::string, std::int64_t, double, bool, PlistArray, PlistDict, PlistOpaque> value;

  /// Texts, and numbers as text.
  [[nodiscard]] std::optional<std::string> text() const;
  /// Integers, booleans and real numbers (cut off), and texts that begin with a number.
  [[nodiscard]] std::optional<std::int64_t> integer() const;
  /// Real numbers, integers, and texts that begin with a number.
  [[nodiscard]] std::optional<double> real() const;
  [[nodiscard]] const PlistArray* array() const;
  [[nodiscard]] const PlistDict* dict() const;
  bool operator==(const PlistValue&) const = default;
};

/// Deeper lists are refused in both directions.
inline constexpr int kPlistMostDepth = 256;
/// A binary list may name one value in many places; together they may not come to more values, or
/// to more bytes of text and data above the list's own size, than this.
inline constexpr std::size_t kPlistMostValues = 500000;
inline constexpr std::size_t kPlistMostBytes = 256000000;

/// Reads a property list in XML or binary form. Bytes that are cut off, or hold anything else, are
/// a failure. Safe with any bytes.
[[nodiscard]] Result<PlistValue> parsePlist(std::string_view bytes);

/// XML form. Reading it gives the same value again, but for fractions of a second of dates, which
/// the form does not have. Fails for null values, which it does not have either.
[[nodiscard]] Result<std::string> plistToXml(const PlistValue& value);

}  // namespace keldane
