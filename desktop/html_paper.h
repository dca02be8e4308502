#pragma once

#include <QByteArray>
#include <QPageLayout>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "desktop/html_view.h"

namespace keldane {

/// Lays the HTML of messages out on paper, under the rules of a view: nothing in it is run, and
/// nothing is fetched. Main thread; lets the event loop run.
class HtmlPaper {
 public:
  virtual ~HtmlPaper() = default;
  /// The pages as a PDF, with `style` ahead of the message's own; empty when that fails.
  [[nodiscard]] virtual QByteArray layOut(std::string_view html, std::string_view style,
                                          const QPageLayout& layout) = 0;
  /// As in `HtmlView`.
  std::function<std::optional<PagePicture>(const QString& contentId)> findPicture;
};

/// Null where there is no web engine, or it will not start.
[[nodiscard]] std::unique_ptr<HtmlPaper> makeHtmlPaper();

}  // namespace keldane
