#pragma once

#include <QByteArray>
#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "app/panels/message_web_view.h"

class QPainter;
class QPrinter;

namespace keldane {

/// A picture that a page shows out of its message.
struct PagePicture {
  QByteArray type;  ///< "image/png"
  QByteArray bytes;
};

/// The control that shows the HTML of a message, under the rules of `MessageWebView`. There are
/// two: one over the web engine, and a plain text where that is missing.
class HtmlView : public QWidget, public MessageWebView {
 public:
  using QWidget::QWidget;

  void loadHtml(const std::string& html) override = 0;
  void loadFile(const std::string& path) override = 0;
  /// Loads the page anew, with the pictures that it has elsewhere; the next page is without again.
  virtual void loadRemotePictures() = 0;
  /// How many pictures of the page have not been fetched.
  [[nodiscard]] virtual int heldBack() const = 0;
  /// Marks what is found; nothing for an empty text.
  virtual void mark(const QString& text) = 0;
  virtual void copy() = 0;
  virtual void zoom(double factor) = 0;
  /// One page down. False at the end, where that can be told.
  virtual bool scrollOn() = 0;
  /// The page is read with light or dark text, as the application is.
  virtual void setDark(bool dark) = 0;

  /// Draws the page as it is shown, on white, on as many sheets as it takes. False when it cannot
  /// be laid out, or the printer fails. May let the event loop run.
  [[nodiscard]] virtual bool print(QPrinter& printer, QPainter& painter) = 0;

  /// Gives the picture behind "cid:NAME". Must be set before a page is loaded.
  std::function<std::optional<PagePicture>(const QString& contentId)> findPicture;
  /// The number of pictures held back has changed.
  std::function<void()> heldBackChanged;
  /// The user has clicked on a link; nothing has been opened.
  std::function<void(const QString& target)> linkClicked;
  /// The page cannot be shown; why, as a sentence.
  std::function<void(const QString& reason)> failed;
};

/// What must stand before the application does. Once.
void prepareHtmlViews();
/// Makes the view of this build: over the web engine, or as text where it is not, or will not
/// start.
[[nodiscard]] std::unique_ptr<HtmlView> makeHtmlView(QWidget* parent);
/// `reason`: why there is no page, as a sentence that stands above the text.
[[nodiscard]] std::unique_ptr<HtmlView> makeTextHtmlView(QWidget* parent, const QString& reason);

}  // namespace keldane
