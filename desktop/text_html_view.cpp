// The view of HTML where there is no web engine: the text of the page, without any of its marks.
#include <QBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QScrollBar>

#include "app/panels/page_printer.h"
#include "base/files.h"
#include "desktop/form_binding.h"
#include "desktop/html_view.h"
#include "desktop/qt_text.h"
#include "desktop/text_pages.h"
#include "find/html_text.h"

namespace keldane {
namespace {

class TextHtmlView : public HtmlView {
 public:
  TextHtmlView(QWidget* parent, const QString& reason)
      : HtmlView(parent), text_(new QPlainTextEdit(this)) {
    auto* reasonLabel = new QLabel(reason, this);
    nameControl(*reasonLabel, "textOnlyReason");
    reasonLabel->setWordWrap(true);
    nameControl(*text_, "myHtmlWebView", QStringLiteral("HTML"));
    text_->setReadOnly(true);
    text_->setFrameShape(QFrame::NoFrame);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(reasonLabel);
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
  bool print(QPrinter& printer, QPainter& painter) override {
    ClosedDocument document;
    document.setDefaultFont(paperFont(text_->font()));
    document.setPlainText(text_->toPlainText());
    return drawText(document, printer, painter, PagePrinter::kTextWidth);
  }

 private:
  QPlainTextEdit* text_;
};

}  // namespace

std::unique_ptr<HtmlView> makeTextHtmlView(QWidget* parent, const QString& reason) {
  return std::make_unique<TextHtmlView>(parent, reason);
}

}  // namespace keldane
