#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "ingest/sources/mail_places.h"

namespace keldane {

/// Where users put what a program has exported for them.
struct ExportedMail {
  std::vector<MailPlace> places;   ///< mbox files, and folders of them
  std::vector<MailPlace> packed;   ///< archives of a mail service that are not unpacked
  std::vector<MailPlace> outlook;  ///< files that another program has to convert
};

struct ExportLimits {
  std::size_t entries = 50000;  ///< looked at in all
  int depth = 4;                ///< folders below one of the user's
};

/// Looks through the folders of a user for downloads, documents and the desktop, and at the home
/// folder itself. Hidden folders are left out, links are not followed. `complaint` is told of a
/// folder that cannot be read.
[[nodiscard]] ExportedMail findExportedMail(
    const std::string& homePath,
    const std::function<void(const std::string& folder, const std::string& reason)>& complaint,
    const ExportLimits& limits = {});

}  // namespace keldane
