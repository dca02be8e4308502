#pragma once

#include <string>
#include <vector>

namespace keldane::bench {

struct MailFile {
  std::string path;
  std::string text;  ///< UTF-8, without a leading separator line
  std::string raw;   ///< the same as it stands in the file
};

/// Every regular file of a folder and below, in order of their paths, read as the archiver reads
/// them: as UTF-8, else as Latin-1, without a leading "From " line.
[[nodiscard]] std::vector<MailFile> readMailFolder(const std::string& folder);

}  // namespace keldane::bench
