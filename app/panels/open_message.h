#pragma once

#include <functional>
#include <utility>

#include "app/panels/attachment_list.h"
#include "app/panels/message_viewer.h"
#include "app/panels/result_table.h"

namespace keldane {

/// A message in a window of its own: a list that holds it alone, and a viewer over that. Main
/// thread.
struct OpenMessage {
  OpenMessage(ResultTable::Context list,
              const std::function<MessageViewer::Context(ResultTable& table)>& reading,
              AttachmentList::Context files)
      : table(std::move(list)), viewer(reading(table)), attachments(std::move(files)) {
    attachments.showHtmlVersion = [this](const std::string& path) { viewer.showHtmlVersion(path); };
  }
  OpenMessage(const OpenMessage&) = delete;
  OpenMessage& operator=(const OpenMessage&) = delete;

  /// Shows this one.
  void show(Emailrow message) {
    table.emailRows = {std::move(message)};
    viewer.selection = {1, 0};
    viewer.tableViewSelectionDidChange();
  }

  ResultTable table;
  MessageViewer viewer;
  AttachmentList attachments;
};

}  // namespace keldane
