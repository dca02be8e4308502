// What stands in the place of the web engine in a build without it.
#include "desktop/html_paper.h"
#include "desktop/html_view.h"

namespace keldane {

void prepareHtmlViews() {}

std::unique_ptr<HtmlView> makeHtmlView(QWidget* parent) { return makeTextHtmlView(parent); }

std::unique_ptr<HtmlPaper> makeHtmlPaper() { return nullptr; }

}  // namespace keldane
