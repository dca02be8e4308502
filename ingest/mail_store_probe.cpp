#include "ingest/mail_store_probe.h"

#include "base/files.h"

namespace keldane {

void probeMailStore(ProcessState& process) {
  const std::string store = process.homePath + "/Library/Mail";
  constexpr int kNewest = 10;
  constexpr int kOldestFlagged = 3;
  for (int version = kNewest; version >= kOldestFlagged; --version) {
    if (!fileExists(store + "/V" + std::to_string(version))) continue;
    process.mailRootSuffix = "/Library/Mail";
    process.hasMailV[static_cast<std::size_t>(version - kOldestFlagged)] = true;
    return;
  }
  process.mailRootSuffix = fileExists(store + "/V2") ? "/Library/Mail/V2" : "/Library/Mail";
}

}  // namespace keldane
