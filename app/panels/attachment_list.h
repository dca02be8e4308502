#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "platform/host_services.h"
#include "platform/process_state.h"
#include "settings/settings_values.h"

namespace keldane {

/// An attachment in the table under a message. Name and type are a stranger's.
struct AttachmentRow {
  std::size_t index = 0;  ///< among all attachments of the message
  std::string name;
  std::string type;
  std::uint64_t sizeBytes = 0;
};

/// Whether a file of this name would run as a program or a script when it is opened.
[[nodiscard]] bool isProgramName(std::string_view name);

/// The table of attachments under a message: shows a message's own HTML, opens others with what the
/// desktop has for them, saves one or all. What is opened is written first, as a file of mode 0600
/// in a folder of mode 0700, which stays until the system clears its temporary folder. Main thread.
class AttachmentList {
 public:
  struct Context {
    ServerSession& session;
    const ProcessState& process;  ///< its work folder is that of the files opened
    const UserSettings& settings;
    ProgressPanel& progress;
    UserInterface& ui;
    HostServices& host;
    std::function<bool()> isSessionTaken;
  };

  explicit AttachmentList(Context context) : context_(std::move(context)) {}

  /// Fills the rows with the attachments of a message; 0: none. Beside an HTML view the versions of
  /// the message in HTML stay out.
  void load(std::uint32_t id, bool htmlShowing);
  /// What a click on an attachment does: shows it, or opens it, or asks what to do with it, as the
  /// settings say.
  void textViewClickedOnLink(std::size_t row);
  /// Opens the attachment of this row; one that would run is asked about.
  void open(std::size_t row);
  /// Writes it to a file that the user names.
  void save(std::size_t row);
  /// Writes all that the table shows into a folder that the user chooses. Nothing is overwritten.
  void saveAll();
  /// Writes it into the work folder. Empty when that failed, of which the user has been told.
  [[nodiscard]] std::string writeForUse(std::size_t row);

  std::vector<AttachmentRow> rows;
  /// Shows a file with the message's own HTML.
  std::function<void(const std::string& path)> showHtmlVersion;

 private:
  void tell(const std::string& title, const std::string& reason);

  Context context_;
  std::uint32_t id_ = 0;
};

}  // namespace keldane
