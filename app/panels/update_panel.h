#pragma once

#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "app/user_interface.h"
#include "base/result.h"
#include "platform/main_queue.h"

namespace keldane {

/// Tells whether a newer version of the program is at hand. Main thread.
class UpdatePanel {
 public:
  struct Context {
    MainQueue& mainQueue;
    UserInterface& ui;
    std::string version;  ///< of this program
    /// The version that can be had in place of this one, if any is newer. On any thread; empty:
    /// nobody can be asked.
    std::function<Result<std::string>(const std::string& version)> newerVersion;
  };

  explicit UpdatePanel(Context context) : context_(std::move(context)) {}
  /// Waits for a question that is still under way.
  ~UpdatePanel();
  UpdatePanel(const UpdatePanel&) = delete;
  UpdatePanel& operator=(const UpdatePanel&) = delete;

  /// Asks, and says what was answered.
  void checkVersion();
  /// Asks on a thread of its own; only a newer version is told, and stops nothing.
  void checkForUpdatesInBackground();

 private:
  [[nodiscard]] Result<std::string> ask() const;

  Context context_;
  std::thread asking_;
};

}  // namespace keldane
