#pragma once

#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <QObject>
#include <QWebEngineProfile>

#include "desktop/web_guard.h"

class QColor;
class QPageLayout;
class QWebEnginePage;

namespace keldane {

class MailPage;

/// A page of the web engine that shows one message and can do nothing else: no script, no storage,
/// no way to another page, no load but its own and that of the pictures within its message.
class ClosedPage : public QObject {
 public:
  explicit ClosedPage(QObject* parent);
  ~ClosedPage() override;

  /// Loads HTML, with `style` ahead of its own. `remotePictures`: those elsewhere are fetched.
  void load(std::string_view html, std::string_view style, const QColor& background,
            bool remotePictures);
  /// The page that is loaded, as a PDF, once it is whole; empty when that fails, takes beyond a
  /// minute, or the program ends. Lets the event loop run.
  QByteArray layOut(const QPageLayout& paper);
  [[nodiscard]] int heldBack() const { return guard_.heldBack(); }
  QWebEnginePage& page();

  /// As in `HtmlView`.
  std::function<std::optional<PagePicture>(const QString& contentId)> findPicture;
  std::function<void()> heldBackChanged;
  std::function<void(const QString& target)> linkClicked;
  /// The process that draws the page has ended, or was ended because it came no further.
  std::function<void()> crashed;

 private:
  struct Layout;

  void connectPage();
  void watchForHang();
  void askForPdf(const std::shared_ptr<Layout>& layout, const QPageLayout& paper);
  void takeLastAnswer(const Layout& layout);
  /// Ends the process that draws the page. False when there is none.
  bool endProcess();

  WebGuard guard_;
  MailScheme scheme_;
  QWebEngineProfile* profile_;
  MailPage* page_;
  int number_ = 0;
  bool isLoading_ = false;
  QTimer hang_;
};

/// Whether the web engine starts for this user: as root it ends the program unless it has been
/// told to do without its sandbox.
[[nodiscard]] bool canStartWebEngine();

}  // namespace keldane
