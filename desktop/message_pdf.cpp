#include "desktop/message_pdf.h"

#include <algorithm>

#include <fmt/format.h>
#include <QApplication>
#include <QLocale>
#include <QTextCursor>

#include "app/query_settings.h"
#include "base/shown_text.h"
#include "desktop/html_paper.h"
#include "desktop/qt_text.h"
#include "desktop/text_pages.h"
#include "query/attachments.h"

namespace keldane {
namespace {

constexpr int kTextPoints = 10;
constexpr int kLabelPoints = 80;  ///< also in the style below

/// The fields of the message stand in its own page. What a first layer says is important yields to
/// nothing that comes after it, so that the message can neither hide them, nor put words into them,
/// nor lie over them.
constexpr std::string_view kHeadStyle =
    "@layer keldane{"
    "html,body{display:block!important;visibility:visible!important;opacity:1!important;"
    "position:static!important;transform:none!important;filter:none!important;"
    "clip-path:none!important;-webkit-mask:none!important;width:auto!important;"
    "height:auto!important;max-height:none!important;overflow:visible!important;"
    "float:none!important;columns:auto!important;zoom:1!important;margin:0!important;"
    "padding:0!important}"
    "body *{z-index:0!important}"
    "#keldane-head,#keldane-head *{all:initial!important;"
    "font:10pt/1.4 sans-serif!important;color:#000!important;overflow-wrap:anywhere!important}"
    "#keldane-head{display:block!important;position:relative!important;"
    "z-index:2147483647!important;background:#fff!important;padding:0 0 8pt!important;"
    "margin:0 0 12pt!important;border-bottom:.75pt solid #999!important}"
    "#keldane-head p{display:block!important;padding-left:80pt!important;"
    "text-indent:-80pt!important;margin:0!important}"
    "#keldane-head b{display:inline-block!important;width:80pt!important;text-indent:0!important;"
    "color:#666!important}"
    "#keldane-head span{unicode-bidi:isolate!important}"
    "html::before,html::after,body::before,body::after,#keldane-head::before,#keldane-head::after,#"
    "keldane-head *::before,#keldane-head *::after{"
    "content:none!important;display:none!important}"
    "#keldane-head *::first-line,#keldane-head *::first-letter{color:inherit!important;"
    "font-size:inherit!important}"
    "}";

/// A text without the fields above it.
std::string_view belowFields(std::string_view text) {
  if (!text.starts_with("ID: ")) return text;
  const std::size_t last = text.find("\nMAILBOX: ");
  const std::size_t end = last == std::string_view::npos ? last : text.find("\n\n", last);
  return end == std::string_view::npos ? text : text.substr(end + 2);
}

}  // namespace

MessagePdf::MessagePdf(Context context, bool asText)
    : context_(std::move(context)),
      sources_(context_.session, sourceReading(context_.settings)),
      paper_(asText ? nullptr : makeHtmlPaper()),
      layout_(usualPageLayout()) {}

MessagePdf::~MessagePdf() = default;

Result<std::string> MessagePdf::layOut(const ListedMessage& message) {
  Result<std::string> source = sources_.fetch(message.id);
  if (!source) return Failure{"SQL error: " + source.error()};
  const MessageContent content =
      sources_.readMessage(message.id, std::move(*source),
                           headerDate(context_.settings, context_.environment, message.date));
  if (!content.error.empty()) return Failure{"SQL error: " + content.error};
  const Result<Head> head = headOf(message, content);
  if (!head) return Failure{head.error()};
  if (paper_ && content.html) {
    std::string pdf = htmlPages(*head, content, message.id);
    if (!pdf.empty()) return pdf;
    if (context_.log) {
      context_.log(fmt::format("message {}: its HTML could not be laid out; the PDF has its text",
                               message.id));
    }
  }
  return textPages(*head, message);
}

Result<MessagePdf::Head> MessagePdf::headOf(const ListedMessage& message,
                                            const MessageContent& content) {
  Head head;
  const auto add = [&head](const QString& label, const std::string& value) {
    if (!value.empty()) head.emplace_back(label, messageLine(value));
  };
  add(tr("Subject:"), message.subject);
  add(tr("From:"), message.from);
  add(tr("To:"), content.header.to.empty() ? message.to : content.header.to);
  add(tr("Cc:"), content.header.cc);
  add(tr("Date:"), content.sentDate.empty() ? message.date : content.sentDate);
  add(tr("Mailbox:"), message.mailbox);
  const auto files = listAttachments(context_.session, message.id);
  if (!files) return Failure{files.error()};
  QStringList names;
  for (const AttachmentInfo& file : *files) {
    if (isOwnHtml(file.name)) continue;
    names += tr("%1 (%2)").arg(messageLine(file.name),
                               QLocale().formattedDataSize(static_cast<qint64>(file.sizeBytes), 1,
                                                           QLocale::DataSizeTraditionalFormat));
  }
  if (!names.isEmpty()) head.emplace_back(tr("Attachments:"), names.join(", "));
  return head;
}

std::string MessagePdf::htmlPages(const Head& head, const MessageContent& content,
                                  std::uint32_t id) {
  std::string html = "<div id=\"keldane-head\">";
  for (const auto& [label, value] : head) {
    html += fmt::format("<p><b>{}</b><span>{}</span></p>", escapeMarkup(plainText(label)),
                        escapeMarkup(plainText(value)));
  }
  html += "</div>";
  html += std::string_view(*content.html).substr(content.headerBlockBytes);
  // Read when the page asks for the first of them; most pages have none.
  std::optional<std::vector<InlineImage>> images;
  paper_->findPicture = [&](const QString& contentId) -> std::optional<PagePicture> {
    if (!images) {
      Result<std::vector<InlineImage>> found = sources_.inlineImages(id);
      images = found ? std::move(*found) : std::vector<InlineImage>();
    }
    const std::string wanted = plainText(contentId);
    const auto image = std::find_if(images->begin(), images->end(), [&](const InlineImage& one) {
      return one.contentId == wanted;
    });
    if (image == images->end()) return std::nullopt;
    return PagePicture{QByteArray::fromStdString(image->type),
                       QByteArray::fromStdString(image->bytes)};
  };
  const QByteArray pdf = paper_->layOut(html, kHeadStyle, layout_);
  paper_->findPicture = nullptr;
  return pdf.toStdString();
}

Result<std::string> MessagePdf::textPages(const Head& head, const ListedMessage& message) {
  const Result<std::string> text = sources_.textForReader(message.id, message.date, false);
  if (!text) return Failure{"SQL error: " + text.error()};
  ClosedDocument document;
  QFont font = QApplication::font();
  font.setPointSizeF(kTextPoints);
  document.setDefaultFont(paperFont(font));
  QTextCursor cursor(&document);
  QTextCharFormat label;
  label.setForeground(QColor(0x66, 0x66, 0x66));
  QTextCharFormat plain;
  plain.setForeground(Qt::black);
  QTextBlockFormat field;
  field.setLeftMargin(kLabelPoints);
  field.setTextIndent(-kLabelPoints);
  field.setTabPositions({QTextOption::Tab(kLabelPoints, QTextOption::LeftTab)});
  for (const auto& [name, value] : head) {
    cursor.setBlockFormat(field);
    cursor.insertText(name + "\t", label);
    cursor.insertText(value, plain);
    cursor.insertBlock();
  }
  cursor.insertBlock(QTextBlockFormat());
  cursor.insertText(qtText(shownText(belowFields(*text))), plain);
  const QByteArray pdf = textAsPdf(document, layout_);
  if (pdf.isEmpty()) return Failure{"the pages could not be laid out"};
  return pdf.toStdString();
}

}  // namespace keldane
