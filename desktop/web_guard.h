#pragma once

#include <QSet>
#include <QUrl>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineUrlSchemeHandler>
#include <functional>

#include "desktop/html_view.h"

namespace keldane {

/// The scheme of the pages that are shown, and that of the pictures within their message.
inline constexpr const char* kMailScheme = "keldane-mail";
inline constexpr const char* kPictureScheme = "cid";

/// The gate before every load of a page: nothing passes but the page itself and the pictures out of
/// its message. Pictures elsewhere are counted, and pass after the user has said so.
class WebGuard : public QWebEngineUrlRequestInterceptor {
 public:
  void interceptRequest(QWebEngineUrlRequestInfo& request) override;

  /// A page begins to load; whether its pictures may come from elsewhere.
  void begin(bool remotePictures);
  [[nodiscard]] int heldBack() const { return static_cast<int>(heldBack_.size()); }
  std::function<void()> changed;

 private:
  bool remotePictures_ = false;
  QSet<QUrl> heldBack_;
};

/// Serves the page that is shown and the pictures of its message, out of memory.
class MailScheme : public QWebEngineUrlSchemeHandler {
 public:
  void requestStarted(QWebEngineUrlRequestJob* job) override;

  QByteArray page;
  QUrl address;  ///< of the page
  std::function<std::optional<PagePicture>(const QString& contentId)> findPicture;
};

}  // namespace keldane
