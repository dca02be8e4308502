#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <QCoreApplication>
#include <QPageLayout>

#include "archive/server_session.h"
#include "output/export_frame.h"
#include "platform/environment.h"
#include "query/stored_source.h"
#include "settings/settings.h"

namespace keldane {

class HtmlPaper;

/// Lays messages out as PDF, one at a time: above, in words that nothing in the message can cover
/// or change, who wrote when to whom about what, and what is attached; below, its HTML or its text.
/// Main thread; lets the event loop run.
class MessagePdf {
  Q_DECLARE_TR_FUNCTIONS(MessagePdf)

 public:
  struct Context {
    ServerSession& session;
    const UserSettings& settings;
    const Environment& environment;
    /// Takes a line about a message whose HTML could not be laid out.
    std::function<void(const std::string& line)> log = {};
  };
  /// `asText`: also of messages that have HTML.
  MessagePdf(Context context, bool asText);
  ~MessagePdf();

  /// Whether HTML is laid out as HTML.
  [[nodiscard]] bool laysOutHtml() const { return paper_ != nullptr; }
  /// The bytes of the PDF. HTML that cannot be laid out gives its message's text.
  [[nodiscard]] Result<std::string> layOut(const ListedMessage& message);

 private:
  /// Labels and values, in their order.
  using Head = std::vector<std::pair<QString, QString>>;
  [[nodiscard]] Result<Head> headOf(const ListedMessage& message, const MessageContent& content);
  [[nodiscard]] std::string htmlPages(const Head& head, const MessageContent& content,
                                      std::uint32_t id);
  [[nodiscard]] Result<std::string> textPages(const Head& head, const ListedMessage& message);

  Context context_;
  StoredSources sources_;
  std::unique_ptr<HtmlPaper> paper_;
  const QPageLayout layout_;
};

}  // namespace keldane
