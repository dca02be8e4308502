#pragma once

#include <string>
#include <string_view>

#include "base/result.h"

namespace keldane {

/// The text of an office file that is a zip of XML: DOCX, XLSX, PPTX, ODT, ODS, ODP and the
/// templates of each. At most 64 MB of it are unpacked, in memory alone, and `maxBytes` of text are
/// made. Fails for a file that is damaged, has a password or is no such document.
[[nodiscard]] Result<std::string> officeZipText(std::string_view bytes, std::size_t maxBytes);

}  // namespace keldane
