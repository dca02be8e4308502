#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "app/panels/message_viewer.h"
#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "platform/host_services.h"
#include "settings/settings.h"

namespace keldane {

/// What a click on an attachment's link does: takes the bytes out of the database into a file of
/// mode 0600 at the link's path, and shows, opens or saves that file. The files stay until the
/// system clears its temporary folder; a second click writes the file anew. In memory are all
/// attachments of the message for as long as the click takes. Main thread.
class AttachmentLinks {
 public:
  struct Context {
    ServerSession& session;
    const UserSettings& settings;
    ProgressPanel& progress;
    UserInterface& ui;
    HostServices& host;
    MessageViewer& viewer;
    /// Asks where to save a file, proposing a name; empty when the user cancelled. Without it
    /// nothing is saved.
    std::function<std::string(const std::string& title, const std::string& name)> chooseSaveFile;
  };

  explicit AttachmentLinks(Context context) : context_(std::move(context)) {}

  /// `path` is the path of a link of the strip, `attachOwnerId` the message that it belongs to.
  /// True when the click has been dealt with; false, and nothing opened, when the attachment is not
  /// there or its file could not be written.
  bool textViewClickedOnLink(std::uint32_t attachOwnerId, const std::string& path);

 private:
  [[nodiscard]] bool extract(std::uint32_t id, std::size_t index, const std::string& path);
  void open(const std::string& path, const std::string& name);
  void launch(const std::string& path, const std::string& name);
  void save(const std::string& path, const std::string& name);

  Context context_;
};

}  // namespace keldane
