#pragma once

#include <string>

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

 private:
  [[nodiscard]] std::string getPath() const;
  void saveMessages(bool all);
  void saveOrig(bool all);

  const OutputFrame& frame_;
  const std::string& whereSql_;
};

}  // namespace keldane
