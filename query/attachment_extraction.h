#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "platform/host_services.h"
#include "platform/progress_panel.h"
#include "platform/user_interface.h"

namespace keldane {

/// What a click on an attachment's link does: takes the bytes out of the database into a file of
/// mode 0600 at the link's path, and shows, opens or saves that file. The files stay until the
/// system clears its temporary folder; a second click writes the file anew. In memory are all
/// attachments of the message for as long as the click takes. Main thread.
class AttachmentExtraction {
 public:
  struct Callbacks {
    /// The setting by which attachments are opened without a question.
    std::function<bool()> launchAttachments;
    /// Shows the message's own HTML; the file has been written.
    std::function<void(const std::string& path)> showHtmlVersion;
    /// Asks where to save a file, proposing a name; empty when the user cancelled.
    std::function<std::string(const std::string& title, const std::string& name)> chooseSaveFile;
  };

  AttachmentExtraction(ServerSession& session, ProgressPanel& progress, UserInterface& ui,
                       HostServices& host);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// `path` is the path of a link of the strip, `attachOwnerId` the message that it belongs to.
  /// True when the click has been dealt with; false, and nothing opened, when the attachment is not
  /// there or its file could not be written.
  bool textViewClickedOnLink(std::uint32_t attachOwnerId, const std::string& path);

 private:
  [[nodiscard]] bool extract(std::uint32_t id, std::size_t index, const std::string& path);
  void open(const std::string& path, const std::string& name);
  void launch(const std::string& path, const std::string& name);
  void save(const std::string& path, const std::string& name);

  ServerSession& session_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  HostServices& host_;
  Callbacks callbacks_;
};

/// Writes the attachments of a message into a folder, which is made when it is not there, as files
/// of mode 0600 under safe names. A name that is taken gets a number: nothing is ever overwritten.
/// `only`: just this one, counted from 0. Answers the paths, in the order of `listAttachments`.
/// After a failure the files written before it stay. One attachment at a time is in memory.
[[nodiscard]] Result<std::vector<std::string>> saveAttachments(
    ServerSession& session, std::uint32_t id, const std::string& folder,
    std::optional<std::size_t> only = std::nullopt);

}  // namespace keldane
