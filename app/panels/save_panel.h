#pragma once

#include <string>
#include <vector>

#include "app/panels/output_frame.h"

namespace keldane {

/// The menu of what is saved to files: the list, messages as text, raw sources, attachments. A file
/// that could not be written whole is told of, and does not stand under its name. Main thread.
class SavePanel {
 public:
  /// `whereSql`: the search that the list came of.
  SavePanel(const OutputFrame& frame, const std::string& whereSql)
      : frame_(frame), whereSql_(whereSql) {}

  void saveList();
  void saveSelected();
  void saveAll();
  void saveOrigSelected();
  void saveOrigAll();
  /// Those of the selected messages, into a folder.
  void saveAllAttachments();
  /// Writes the selected messages, each as it lay in its file, into a new folder within this one,
  /// to be handed to another program. Answers their paths; none when that failed, of which the user
  /// has been told.
  [[nodiscard]] std::vector<std::string> writeForUse(const std::string& workFolder);

 private:
  [[nodiscard]] std::string getPath() const;
  void saveMessages(bool all);
  void saveOrig(bool all);

  const OutputFrame& frame_;
  const std::string& whereSql_;
  int foldersMade_ = 0;
};

}  // namespace keldane
