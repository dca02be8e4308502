#pragma once

#include <array>
#include <atomic>
#include <string>
#include <vector>

namespace keldane {

/// The values that hold for the whole process: gathered once at the start, read by every component.
/// Owned by the controller. Only `cancelFlag` is shared with the worker thread; the texts change on
/// the main thread while no run is under way.
struct ProcessState {
  std::string userName;
  std::string homePath;
  std::string prefsFilePath;  ///< homePath + "/Library/Preferences/com.varnwick.KeldanePro.plist"
  std::string appVersion = "8.0.1";
  std::string systemVersion;
  std::vector<std::string> launchArguments;
  std::string launchCommand;  ///< argument 0 with each blank as "\ "
  int unattendedRun = 0;      ///< argument 1 as an integer; not 0: a start by the schedule

  std::string mailRootSuffix = "/Library/Mail";
  std::array<bool, 8> hasMailV{};  ///< [0] is V3 ... [7] is V10

  std::string workFolder;
  bool debugLogOn = false;
  std::string tmpFilePath;
  std::string logFilePath;
  std::string storeLogPath;

  /// A request to stop. Set by `cancelParse` and by a failed `openDatabase`; whoever tests it
  /// clears it.
  std::atomic<int> cancelFlag = 0;
};

/// Folder of the program's own files: logs, saved settings, the private server.
[[nodiscard]] inline std::string supportFolder(const ProcessState& state) {
  return state.homePath + "/Library/Application Support/Keldane";
}

}  // namespace keldane
