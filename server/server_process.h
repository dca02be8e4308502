#pragma once

#include <string>

namespace keldane {

/// The process that has a server's data folder open, told by the locks that it holds on its files:
/// no note about a process can be stale, and no other process that got the same number is taken for
/// it.
struct DataFolderHolder {
  bool held = false;
  int processId = 0;  ///< 0: not known, as in another container
};
[[nodiscard]] DataFolderHolder dataFolderHolder(const std::string& dataFolder);

/// Whether a process has ended. A child of this process is reaped by the way.
[[nodiscard]] bool hasEnded(int processId);

/// Bytes of memory of this machine; 0 when the system does not tell.
[[nodiscard]] unsigned long long machineMemoryBytes();

}  // namespace keldane
