#include "bench/mail_folder.h"

#include <algorithm>
#include <filesystem>

#include "base/files.h"
#include "base/text.h"

namespace keldane::bench {

std::vector<MailFile> readMailFolder(const std::string& folder) {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<MailFile> files;
  for (const std::string& path : paths) {
    Result<std::string> bytes = readFile(path);
    if (!bytes) continue;
    std::string& raw = *bytes;
    if (raw.starts_with("From ")) raw.erase(0, raw.find('\n') + 1);
    files.push_back({path, toUtf8(raw), std::move(raw)});
  }
  return files;
}

}  // namespace keldane::bench
