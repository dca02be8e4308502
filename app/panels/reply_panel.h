#pragma once

#include <cstdint>
#include <optional>

#include "app/panels/message_viewer.h"
#include "app/panels/output_frame.h"
#include "output/reply.h"
#include "platform/process_state.h"
#include "platform/tool_runner.h"

namespace keldane {

/// The reply and forward buttons: a new message is opened in the user's mail program, the Mac's own
/// by a script, any other by the desktop. Nothing is sent from here. Main thread.
class ReplyPanel {
 public:
  ReplyPanel(const OutputFrame& frame, const MessageViewer& viewer, ToolRunner& tools,
             const ProcessState& process)
      : frame_(frame), viewer_(viewer), tools_(tools), process_(process) {}

  /// Both work on the row selected last, and do nothing without one.
  void replyToEmail();
  void forwardEmail();
  /// Opens a message in the Mac's mail application; the outcome is dropped.
  void sendEmailWithMail(const MailDraft& draft);

 private:
  [[nodiscard]] std::optional<std::uint32_t> selectedId() const;
  void compose(const MailDraft& draft, const std::string& attachmentPath);

  const OutputFrame& frame_;
  const MessageViewer& viewer_;
  ToolRunner& tools_;
  const ProcessState& process_;
};

}  // namespace keldane
