#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "app/panels/output_frame.h"
#include "platform/process_state.h"

namespace keldane {

/// Takes messages out of the list, out of the database, and attachments off messages. What a
/// statement that is refused leaves undone has been told; what was deleted by then stays deleted.
/// Main thread.
class DeletionPanel {
 public:
  /// The word index that lies below the support folder of the process forgets what is deleted.
  DeletionPanel(const OutputFrame& frame, const ProcessState& process)
      : frame_(frame), process_(process) {}

  /// Takes the selected rows out of the list; the database keeps them.
  void deleteFromList();
  void deleteSelected();
  /// All messages of the list.
  void deleteAll();
  /// Those of the selected messages; their own HTML stays.
  void deleteAttachments();

 private:
  [[nodiscard]] bool confirm(const char* title, const char* text) const;
  /// How many of them are gone; nothing after a failure, which has been shown: the progress panel
  /// stays up then.
  [[nodiscard]] std::optional<std::size_t> deleteMessages(const MessageList& list);
  void takeFromList(const std::vector<std::size_t>& rows);
  void removeRows(const std::vector<std::size_t>& rows);
  void showCounts(const std::string& inDatabase) const;

  const OutputFrame& frame_;
  const ProcessState& process_;
};

}  // namespace keldane
