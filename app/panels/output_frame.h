#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "app/panels/panel_progress.h"
#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "output/export_frame.h"
#include "output/saved_text.h"
#include "platform/host_services.h"
#include "settings/settings.h"

namespace keldane {

/// What the panels share that carry the messages of the list away. Main thread.
class OutputFrame {
 public:
  struct Context {
    ServerSession& session;
    ResultTable& table;
    const Settings& settings;
    ProgressPanel& progress;
    UserInterface& ui;
    HostServices& host;
    std::function<void(const std::string& line)> storeLog;  ///< the run's log; may be empty
  };
  explicit OutputFrame(Context context) : context_(std::move(context)) {}

  /// All messages of the list in the order shown; those that are selected, from the top. Both stand
  /// for as long as the list does.
  [[nodiscard]] MessageList allMessages() const;
  [[nodiscard]] MessageList selectedMessages() const;
  [[nodiscard]] OutputContext output(Progress& progress) const;
  [[nodiscard]] ListedTextReader textReader() const;

  /// Whether a file of this name can be written; the alert has been shown when not.
  [[nodiscard]] bool canWrite(const std::string& path) const;
  /// Shows what the server has refused, or the file that could not be written whole.
  void showFailure(const std::string& error) const;
  /// Shows the progress panel from 0 on, and closes it.
  void begin(const std::string& title) const;
  void end() const;

  ServerSession& session() const { return context_.session; }
  ResultTable& table() const { return context_.table; }
  const Settings& settings() const { return context_.settings; }
  ProgressPanel& progress() const { return context_.progress; }
  UserInterface& ui() const { return context_.ui; }
  HostServices& host() const { return context_.host; }
  void log(const std::string& line) const;

 private:
  Context context_;
};

/// Whether the core's failure is one of the server's, and not of a file.
[[nodiscard]] bool isSqlError(std::string_view error);

}  // namespace keldane
