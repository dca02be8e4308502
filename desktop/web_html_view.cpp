// The view of HTML over the web engine.
#include <utility>

#include <QBoxLayout>
#include <QContextMenuEvent>
#include <QWebEngineCookieStore>
#include <QWebEngineDownloadRequest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlScheme>
#include <QWebEngineView>

#include "base/files.h"
#include "base/text.h"
#include "desktop/form_binding.h"
#include "desktop/html_view.h"
#include "desktop/qt_text.h"
#include "desktop/web_guard.h"
#include "query/message_html.h"

namespace keldane {
namespace {

constexpr std::string_view kDarkStyle = "html{background:#1e1f22;color:#dcdde0}a{color:#8ab4f8}";

/// A page that goes nowhere: what is not its own first load is refused, and a click on a link is
/// told.
class MailPage : public QWebEnginePage {
 public:
  using QWebEnginePage::QWebEnginePage;
  QUrl address;
  std::function<void(const QString& target)> linkClicked;

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override {
    if (isMainFrame && url == address && type == NavigationTypeTyped) return true;
    if (isMainFrame && type == NavigationTypeLinkClicked && linkClicked) {
      linkClicked(QString::fromLatin1(url.toEncoded()));
    }
    return false;
  }
  QWebEnginePage* createWindow(WebWindowType) override { return nullptr; }
  void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString&, int,
                                const QString&) override {}
  QStringList chooseFiles(FileSelectionMode, const QStringList&, const QStringList&) override {
    return {};
  }
};

/// Everything that a page could do beside standing there is off.
void forbid(QWebEngineSettings& settings) {
  using Attribute = QWebEngineSettings::WebAttribute;
  constexpr Attribute kOff[] = {Attribute::JavascriptEnabled,
                                Attribute::JavascriptCanOpenWindows,
                                Attribute::JavascriptCanAccessClipboard,
                                Attribute::JavascriptCanPaste,
                                Attribute::LocalStorageEnabled,
                                Attribute::LocalContentCanAccessRemoteUrls,
                                Attribute::LocalContentCanAccessFileUrls,
                                Attribute::HyperlinkAuditingEnabled,
                                Attribute::ErrorPageEnabled,
                                Attribute::PluginsEnabled,
                                Attribute::FullScreenSupportEnabled,
                                Attribute::ScreenCaptureEnabled,
                                Attribute::WebGLEnabled,
                                Attribute::Accelerated2dCanvasEnabled,
                                Attribute::AutoLoadIconsForPage,
                                Attribute::TouchIconsEnabled,
                                Attribute::AllowRunningInsecureContent,
                                Attribute::AllowGeolocationOnInsecureOrigins,
                                Attribute::AllowWindowActivationFromJavaScript,
                                Attribute::DnsPrefetchEnabled,
                                Attribute::PdfViewerEnabled,
                                Attribute::NavigateOnDropEnabled,
                                Attribute::FocusOnNavigationEnabled};
  for (const Attribute attribute : kOff) settings.setAttribute(attribute, false);
  settings.setAttribute(Attribute::PlaybackRequiresUserGesture, true);
  settings.setUnknownUrlSchemePolicy(QWebEngineSettings::DisallowUnknownUrlSchemes);
}

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
  [[nodiscard]] int heldBack() const override { return guard_.heldBack(); }
  void mark(const QString& text) override { page_->findText(text); }
  void copy() override { page_->triggerAction(QWebEnginePage::Copy); }
  void zoom(double factor) override { page_->setZoomFactor(factor); }
  bool scrollOn() override;
  void setDark(bool dark) override;

 private:
  void show(bool remotePictures);

  WebGuard guard_;
  MailScheme scheme_;
  QWebEngineProfile* profile_;
  MailPage* page_;
  QuietView* view_;
  std::string html_;
  int number_ = 0;
  bool dark_ = false;
};

WebHtmlView::WebHtmlView(QWidget* parent)
    : HtmlView(parent),
      profile_(new QWebEngineProfile(this)),
      page_(new MailPage(profile_, this)),
      view_(new QuietView(this)) {
  profile_->setHttpCacheType(QWebEngineProfile::NoCache);
  profile_->setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
  profile_->cookieStore()->setCookieFilter([](const auto&) { return false; });
  profile_->setSpellCheckEnabled(false);
  profile_->setUrlRequestInterceptor(&guard_);
  profile_->installUrlSchemeHandler(kMailScheme, &scheme_);
  profile_->installUrlSchemeHandler(kPictureScheme, &scheme_);
  connect(profile_, &QWebEngineProfile::downloadRequested, this,
          [](QWebEngineDownloadRequest* download) { download->cancel(); });
  forbid(*page_->settings());
  connect(page_, &QWebEnginePage::featurePermissionRequested, this,
          [this](const QUrl& origin, QWebEnginePage::Feature feature) {
            page_->setFeaturePermission(origin, feature, QWebEnginePage::PermissionDeniedByUser);
          });
  connect(page_, &QWebEnginePage::renderProcessTerminated, this, [this] {
    if (failed) failed(tr("This message could not be shown as a page. Its text can be read."));
  });
  page_->linkClicked = [this](const QString& target) {
    if (linkClicked) linkClicked(target);
  };
  guard_.changed = [this] {
    if (heldBackChanged) heldBackChanged();
  };
  scheme_.findPicture = [this](const QString& contentId) {
    return findPicture ? findPicture(contentId) : std::nullopt;
  };
  view_->setPage(page_);
  nameControl(*view_, "myHtmlWebView", tr("Message"));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(view_);
}

/// The page goes before its profile, the view before its page.
WebHtmlView::~WebHtmlView() {
  delete view_;
  delete page_;
  delete profile_;
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
  if (number_ > 0) show(false);
}

void WebHtmlView::show(bool remotePictures) {
  const bool softly = dark_ && !setsColours(html_);
  const std::string page = viewedPage(html_, softly ? kDarkStyle : std::string_view());
  scheme_.page = QByteArray(page.data(), static_cast<qsizetype>(page.size()));
  // Each load has an address of its own, so that none is taken for one before it.
  scheme_.address = QUrl(QStringLiteral("%1:message/%2").arg(kMailScheme).arg(++number_));
  page_->address = scheme_.address;
  page_->setBackgroundColor(softly ? QColor(0x1e, 0x1f, 0x22) : QColor(Qt::white));
  guard_.begin(remotePictures);
  if (heldBackChanged) heldBackChanged();
  page_->setUrl(scheme_.address);
}

/// Without scripts the page is moved by its keys.
bool WebHtmlView::scrollOn() {
  const double before = page_->scrollPosition().y();
  const double end = page_->contentsSize().height() - view_->height();
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
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

std::unique_ptr<HtmlView> makeHtmlView(QWidget* parent) {
  return std::make_unique<WebHtmlView>(parent);
}

}  // namespace keldane
