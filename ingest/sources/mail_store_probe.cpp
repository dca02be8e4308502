#include "ingest/sources/mail_store_probe.h"

#include "base/files.h"

namespace keldane {
namespace {

constexpr int kNewest = 10;
constexpr int kOldestFlagged = 3;

}  // namespace

void probeMailStore(ProcessState& process) {
  const std::string store = process.homePath + "/Library/Mail";
  for (int version = kNewest; version >= kOldestFlagged; --version) {
    if (!fileExists(store + "/V" + std::to_string(version))) continue;
    process.mailRootSuffix = "/Library/Mail";
    process.hasMailV[static_cast<std::size_t>(version - kOldestFlagged)] = true;
    return;
  }
  process.mailRootSuffix = fileExists(store + "/V2") ? "/Library/Mail/V2" : "/Library/Mail";
}

std::string versionFolder(const ProcessState& process) {
  for (std::size_t i = process.hasMailV.size(); i-- > 0;) {
    if (process.hasMailV[i]) return "/V" + std::to_string(i + kOldestFlagged);
  }
  return {};
}

}  // namespace keldane
