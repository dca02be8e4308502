// What stands in the place of the web engine in a build without it.
#include <QCoreApplication>

#include "desktop/html_paper.h"
#include "desktop/html_view.h"

namespace keldane {

void prepareHtmlViews() {}

std::unique_ptr<HtmlView> makeHtmlView(QWidget* parent) {
  return makeTextHtmlView(
      parent,
      QCoreApplication::translate(
          "HtmlView",
          "This program was built without a web engine. Only the text of the page is shown."));
}

std::unique_ptr<HtmlPaper> makeHtmlPaper() { return nullptr; }

}  // namespace keldane
