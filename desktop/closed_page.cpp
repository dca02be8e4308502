#include "desktop/closed_page.h"

#include <QColor>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QPageLayout>
#include <QTimer>
#include <QWebEngineCookieStore>
#include <QWebEngineDownloadRequest>
#include <QWebEnginePage>
#include <QWebEngineSettings>
#include <chrono>
#include <csignal>
#include <memory>
#include <utility>

#include <unistd.h>

#include "query/message_html.h"

namespace keldane {

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

namespace {

constexpr std::chrono::seconds kLongestLayout(60);
constexpr std::chrono::seconds kLastMoment{2};       ///< for an answer that nobody waits for
constexpr std::chrono::seconds kLongestSilence{20};  ///< of a page that loads
constexpr std::chrono::milliseconds kBetweenLooks{20};

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

/// Lets the event loop run, also while the program ends, until this holds. False when the time is
/// up.
bool waitUntil(const std::function<bool()>& holds, std::chrono::seconds longest) {
  const QDeadlineTimer end(longest);
  QTimer alarm;
  alarm.start(kBetweenLooks);
  while (!holds() && !end.hasExpired()) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                    QEventLoop::WaitForMoreEvents);
  }
  return holds();
}

}  // namespace

ClosedPage::ClosedPage(QObject* parent)
    : QObject(parent), profile_(new QWebEngineProfile(this)), page_(new MailPage(profile_, this)) {
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
  connectPage();
  guard_.changed = [this] {
    if (heldBackChanged) heldBackChanged();
  };
  scheme_.findPicture = [this](const QString& contentId) {
    return findPicture ? findPicture(contentId) : std::nullopt;
  };
}

/// The page goes before its profile.
ClosedPage::~ClosedPage() {
  delete page_;
  delete profile_;
}

void ClosedPage::connectPage() {
  connect(page_, &QWebEnginePage::featurePermissionRequested, this,
          [this](const QUrl& origin, QWebEnginePage::Feature feature) {
            page_->setFeaturePermission(origin, feature, QWebEnginePage::PermissionDeniedByUser);
          });
  connect(page_, &QWebEnginePage::renderProcessTerminated, this, [this] {
    if (crashed) crashed();
  });
  connect(page_, &QWebEnginePage::loadFinished, this, [this] { isLoading_ = false; });
  watchForHang();
  page_->linkClicked = [this](const QString& target) {
    if (linkClicked) linkClicked(target);
  };
}

/// A page may be made so that its layout takes hours, and no other comes before it is done.
void ClosedPage::watchForHang() {
  hang_.setSingleShot(true);
  hang_.setInterval(kLongestSilence);
  connect(page_, &QWebEnginePage::loadProgress, this, [this] {
    if (isLoading_) hang_.start();
  });
  connect(page_, &QWebEnginePage::loadFinished, &hang_, &QTimer::stop);
  connect(&hang_, &QTimer::timeout, this, [this] {
    if (!endProcess() && crashed) crashed();
  });
}

bool ClosedPage::endProcess() {
  const qint64 process = page_->renderProcessPid();
  return process > 0 && ::kill(static_cast<pid_t>(process), SIGKILL) == 0;
}

QWebEnginePage& ClosedPage::page() { return *page_; }

void ClosedPage::load(std::string_view html, std::string_view style, const QColor& background,
                      bool remotePictures) {
  const std::string page = viewedPage(html, style);
  scheme_.page = QByteArray(page.data(), static_cast<qsizetype>(page.size()));
  // Each load has an address of its own, so that none is taken for one before it.
  scheme_.address = QUrl(QStringLiteral("%1:message/%2").arg(kMailScheme).arg(++number_));
  page_->address = scheme_.address;
  page_->setBackgroundColor(background);
  isLoading_ = true;
  guard_.begin(remotePictures);
  if (heldBackChanged) heldBackChanged();
  hang_.start();
  page_->setUrl(scheme_.address);
}

/// What has been asked of the engine, shared with its answer.
struct ClosedPage::Layout {
  QEventLoop loop;
  bool isOver = false;
  bool isOwed = false;  ///< the engine is about to answer
  QByteArray pdf;
};

QByteArray ClosedPage::layOut(const QPageLayout& paper) {
  const auto layout = std::make_shared<Layout>();
  QEventLoop& loop = layout->loop;
  QTimer::singleShot(kLongestLayout, &loop, [&loop] { loop.quit(); });
  connect(page_, &QWebEnginePage::renderProcessTerminated, &loop, [&loop] { loop.quit(); });
  if (isLoading_) {
    connect(page_, &QWebEnginePage::loadFinished, &loop, [&] { askForPdf(layout, paper); });
  } else {
    askForPdf(layout, paper);
  }
  loop.exec();
  disconnect(page_, nullptr, &loop, nullptr);
  layout->isOver = true;
  if (layout->isOwed) takeLastAnswer(*layout);
  return layout->pdf;
}

/// The engine ends the program when the process of a page ends before it has begun to lay the page
/// out. So it is asked when the page answers at all, and not while it is busy with its own.
void ClosedPage::askForPdf(const std::shared_ptr<Layout>& layout, const QPageLayout& paper) {
  page_->toPlainText([this, layout, paper](const QString&) {
    if (layout->isOver || layout->isOwed) return;
    layout->isOwed = true;
    page_->printToPdf(
        [layout](const QByteArray& pdf) {
          layout->pdf = pdf;
          layout->isOwed = false;
          layout->loop.quit();
        },
        paper);
  });
}

/// The time is up, the process is gone, or the program ends. The engine would give what it has made
/// to a page that is no more, so that the page stays until there is nothing to come.
void ClosedPage::takeLastAnswer(const Layout& layout) {
  if (waitUntil([&layout] { return !layout.isOwed; }, kLastMoment)) return;
  if (!endProcess()) return;
  static_cast<void>(waitUntil([&layout] { return !layout.isOwed; }, kLastMoment));
}

bool canStartWebEngine() {
  return ::geteuid() != 0 || qEnvironmentVariableIntValue("QTWEBENGINE_DISABLE_SANDBOX") != 0 ||
         qgetenv("QTWEBENGINE_CHROMIUM_FLAGS").contains("--no-sandbox");
}

}  // namespace keldane
