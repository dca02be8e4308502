// The view of HTML for a build without a web engine: the text of the page, without any of its
// marks.
#include <QBoxLayout>
#include <QPlainTextEdit>
#include <QScrollBar>

#include "base/files.h"
#include "desktop/form_binding.h"
#include "desktop/html_view.h"
#include "desktop/qt_text.h"
#include "find/html_text.h"

namespace keldane {
namespace {

class TextHtmlView : public HtmlView {
 public:
  explicit TextHtmlView(QWidget* parent) : HtmlView(parent), text_(new QPlainTextEdit(this)) {
    nameControl(*text_, "myHtmlWebView", QStringLiteral("HTML"));
    text_->setReadOnly(true);
    text_->setFrameShape(QFrame::NoFrame);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(text_);
  }

  void loadHtml(const std::string& html) override {
    text_->setPlainText(qtText(shownText(markupText(html))));
  }
  void loadFile(const std::string& path) override {
    const Result<std::string> bytes = readFile(path);
    if (bytes) loadHtml(*bytes);
    if (!bytes && failed) failed(qtText(bytes.error()));
  }
  void loadRemotePictures() override {}
  [[nodiscard]] int heldBack() const override { return 0; }
  void mark(const QString& text) override {
    if (!text.isEmpty()) text_->find(text);
  }
  void copy() override { text_->copy(); }
  void zoom(double factor) override {
    QFont font = text_->font();
    font.setPointSizeF(QWidget::font().pointSizeF() * factor);
    text_->setFont(font);
  }
  bool scrollOn() override {
    QScrollBar* bar = text_->verticalScrollBar();
    const int before = bar->value();
    bar->setValue(before + bar->pageStep());
    return bar->value() != before;
  }
  void setDark(bool) override {}

 private:
  QPlainTextEdit* text_;
};

}  // namespace

void prepareHtmlViews() {}

std::unique_ptr<HtmlView> makeHtmlView(QWidget* parent) {
  return std::make_unique<TextHtmlView>(parent);
}

}  // namespace keldane
