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
  enum class Kind { data, date, uid } kind = Kind::data;
  std::string bytes;  ///< data: the bytes; date: "seconds.microseconds" since 2001; uid: decimal
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

/// Reads a property list in XML or binary form.
[[nodiscard]] Result<PlistValue> parsePlist(std::string_view bytes);
/// XML form. Reading it gives the same value again, but for fractions of a second of dates, which
/// the form does not have.
[[nodiscard]] Result<std::string> plistToXml(const PlistValue& value);

}  // namespace keldane
