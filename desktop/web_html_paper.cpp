// HTML on paper by the web engine.
#include <QColor>
#include <QWebEnginePage>

#include "desktop/closed_page.h"
#include "desktop/html_paper.h"

namespace keldane {
namespace {

class WebHtmlPaper : public HtmlPaper {
 public:
  WebHtmlPaper() : closed_(nullptr) {
    // What a page wants that nobody sees, the engine does once a second.
    closed_.page().setVisible(true);
    closed_.findPicture = [this](const QString& contentId) {
      return findPicture ? findPicture(contentId) : std::nullopt;
    };
  }
  QByteArray layOut(std::string_view html, std::string_view style,
                    const QPageLayout& layout) override {
    closed_.load(html, style, Qt::white, false);
    return closed_.layOut(layout);
  }

 private:
  ClosedPage closed_;
};

}  // namespace

std::unique_ptr<HtmlPaper> makeHtmlPaper() {
  if (!canStartWebEngine()) return nullptr;
  return std::make_unique<WebHtmlPaper>();
}

}  // namespace keldane
