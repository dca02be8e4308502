// The view of HTML over the web engine.
#include <QApplication>
#include <QBoxLayout>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QPrinter>
#include <QQuickWindow>
#include <QWebEnginePage>
#include <QWebEngineUrlScheme>
#include <QWebEngineView>

#include "base/files.h"
#include "base/text.h"
#include "desktop/closed_page.h"
#include "desktop/form_binding.h"
#include "desktop/html_view.h"
#include "desktop/pdf_drawing.h"
#include "desktop/qt_text.h"
#include "desktop/web_guard.h"
#include "query/message_html.h"

namespace keldane {
namespace {

/// On paper it is light.
constexpr std::string_view kDarkStyle =
    "@media screen{html{background:#1e1f22;color:#dcdde0}a{color:#8ab4f8}}";

/// The engine's own menu offers to save and to open.
class QuietView : public QWebEngineView {
 public:
  using QWebEngineView::QWebEngineView;

 protected:
  void contextMenuEvent(QContextMenuEvent* event) override { event->accept(); }
};

class WebHtmlView : public HtmlView {
  Q_DECLARE_TR_FUNCTIONS(WebHtmlView)

 public:
  explicit WebHtmlView(QWidget* parent);
  ~WebHtmlView() override;

  void loadHtml(const std::string& html) override;
  void loadFile(const std::string& path) override;
  void loadRemotePictures() override { show(true); }
  [[nodiscard]] int heldBack() const override { return closed_->heldBack(); }
  void mark(const QString& text) override { closed_->page().findText(text); }
  void copy() override { closed_->page().triggerAction(QWebEnginePage::Copy); }
  void zoom(double factor) override { closed_->page().setZoomFactor(factor); }
  bool scrollOn() override;
  void setDark(bool dark) override;
  bool print(QPrinter& printer, QPainter& painter) override;

 private:
  void show(bool remotePictures);

  ClosedPage* closed_;
  QuietView* view_;
  std::string html_;
  bool isLoaded_ = false;
  QByteArray paper_;  ///< the page as laid out last, for
  QPageLayout paperLayout_;
  bool dark_ = false;
};

WebHtmlView::WebHtmlView(QWidget* parent)
    : HtmlView(parent), closed_(new ClosedPage(this)), view_(new QuietView(this)) {
  closed_->crashed = [this] {
    if (failed) failed(tr("This message could not be shown as a page. Its text can be read."));
  };
  closed_->linkClicked = [this](const QString& target) {
    if (linkClicked) linkClicked(target);
  };
  closed_->heldBackChanged = [this] {
    if (heldBackChanged) heldBackChanged();
  };
  closed_->findPicture = [this](const QString& contentId) {
    return findPicture ? findPicture(contentId) : std::nullopt;
  };
  view_->setPage(&closed_->page());
  nameControl(*view_, "myHtmlWebView", tr("Message"));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(view_);
}

/// The view goes before its page.
WebHtmlView::~WebHtmlView() {
  delete view_;
  delete closed_;
}

void WebHtmlView::loadHtml(const std::string& html) {
  html_ = html;
  show(false);
}

void WebHtmlView::loadFile(const std::string& path) {
  const Result<std::string> bytes = readFile(path);
  if (bytes) {
    loadHtml(toUtf8(*bytes));
  } else if (failed) {
    failed(qtText(bytes.error()));
  }
}

void WebHtmlView::setDark(bool dark) {
  if (dark == dark_) return;
  dark_ = dark;
  if (isLoaded_) show(false);
}

void WebHtmlView::show(bool remotePictures) {
  const bool softly = dark_ && !setsColours(html_);
  isLoaded_ = true;
  paper_.clear();
  closed_->load(html_, softly ? kDarkStyle : std::string_view(),
                softly ? QColor(0x1e, 0x1f, 0x22) : QColor(Qt::white), remotePictures);
}

/// A preview draws the same page again and again.
bool WebHtmlView::print(QPrinter& printer, QPainter& painter) {
  const QPageLayout layout = printer.pageLayout();
  if (paper_.isEmpty() || layout != paperLayout_) {
    paper_ = closed_->layOut(layout);
    paperLayout_ = layout;
  }
  return drawPdf(paper_, printer, painter);
}

/// Without scripts the page is moved by its keys.
bool WebHtmlView::scrollOn() {
  const double before = closed_->page().scrollPosition().y();
  const double end = closed_->page().contentsSize().height() - view_->height();
  if (before >= end - 1) return false;
  QWidget* inner = view_->focusProxy();
  if (inner == nullptr) return false;
  for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
    QKeyEvent key(type, Qt::Key_PageDown, Qt::NoModifier);
    QApplication::sendEvent(inner, &key);
  }
  return true;
}

}  // namespace

void prepareHtmlViews() {
  for (const char* name : {kMailScheme, kPictureScheme}) {
    QWebEngineUrlScheme scheme(name);
    scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
    QWebEngineUrlScheme::registerScheme(scheme);
  }
  // Drawn by the processor: for the first page that the graphics card draws, the window that gets
  // it is made anew, and keys that are typed meanwhile are lost.
  QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

std::unique_ptr<HtmlView> makeHtmlView(QWidget* parent) {
  if (!canStartWebEngine()) {
    return makeTextHtmlView(
        parent, WebHtmlView::tr("The web engine does not start for the user root. Only the text of "
                                "the page is shown."));
  }
  return std::make_unique<WebHtmlView>(parent);
}

}  // namespace keldane
