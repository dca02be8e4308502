#pragma once

#include <string_view>

namespace keldane::mime {

/// Content types and file name extensions. Rows are in order of preference: where a type or an
/// extension occurs more than once, the first row counts.
struct TypeTable {
  static constexpr int kNumRows = 198;

  /// Extension of a content type, any case; empty for an unknown type.
  static std::string_view extensionForType(std::string_view contentType);
  /// Content type of an extension (without the dot), any case; empty for an unknown one.
  static std::string_view typeForExtension(std::string_view extension);
  /// That of what follows the last dot of the name.
  static std::string_view typeForFilename(std::string_view filename);
};

}  // namespace keldane::mime
