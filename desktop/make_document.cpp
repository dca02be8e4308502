// Makes a PDF of a Markdown text, while the program is built: make_document TEXT.md PAGES.pdf
#include <cstdio>

#include <QFile>
#include <QGuiApplication>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextList>

#include "desktop/text_pages.h"

namespace {

/// Room between paragraphs, and more of it above a heading.
void spread(QTextDocument& document) {
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    QTextBlockFormat format = block.blockFormat();
    const int heading = format.headingLevel();
    format.setTopMargin(heading > 1 ? 12 : 0);
    format.setBottomMargin(block.textList() != nullptr ? 3 : 6);
    QTextCursor(block).setBlockFormat(format);
  }
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication application(argc, argv);
  const QStringList words = QGuiApplication::arguments();
  if (words.size() != 3) return 2;
  QFile text(words[1]);
  QFile pages(words[2]);
  if (!text.open(QIODevice::ReadOnly)) return 1;
  keldane::ClosedDocument document;
  QFont font("DejaVu Sans");
  font.setPointSizeF(10.5);
  document.setDefaultFont(keldane::paperFont(font));
  document.setMarkdown(QString::fromUtf8(text.readAll()));
  spread(document);
  // The same pages wherever it is built.
  const QByteArray pdf =
      keldane::textAsPdf(document, QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                               QMarginsF(72, 72, 72, 72), QPageLayout::Point));
  if (pdf.isEmpty() || !pages.open(QIODevice::WriteOnly)) return 1;
  return pages.write(pdf) == pdf.size() ? 0 : 1;
}
