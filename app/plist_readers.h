#pragma once

#include <string_view>

#include "app/property_list.h"

/// The two forms of a property list, for `parsePlist` only.
namespace keldane {

[[nodiscard]] Result<PlistValue> parseXmlPlist(std::string_view bytes);
[[nodiscard]] Result<PlistValue> parseBinaryPlist(std::string_view bytes);

/// First bytes of the binary form.
inline constexpr std::string_view kBinaryPlistMark = "bplist0";

/// Seconds from 1970 to 2001, where dates of property lists begin.
inline constexpr std::int64_t kPlistEpoch = 978307200;

/// A date in the form in which `PlistOpaque` carries it.
[[nodiscard]] PlistValue plistDate(std::int64_t seconds, int microseconds);

}  // namespace keldane
