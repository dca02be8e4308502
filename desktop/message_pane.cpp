#include "desktop/message_pane.h"

#include <utility>

#include <QBoxLayout>
#include <QDesktopServices>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTextBlock>
#include <QUrl>

#include "app/panels/attachment_list.h"
#include "app/panels/link_question.h"
#include "app/panels/message_viewer.h"
#include "app/user_interface.h"
#include "desktop/attachment_table.h"
#include "desktop/form_binding.h"
#include "desktop/html_view.h"
#include "desktop/qt_text.h"
#include "desktop/translation.h"

namespace keldane {
namespace {

constexpr std::size_t kLongestReason = 1000;

/// A line of the head: a field that is read, selected and scrolled, and takes nothing for markup.
QLineEdit* makeLine(QWidget* parent, const char* name, const QString& words) {
  auto* line = new QLineEdit(parent);
  nameControl(*line, name, words);
  line->setReadOnly(true);
  line->setFrame(false);
  // This one colour is its own; the others follow the looks, which a style sheet would keep from
  // it.
  QPalette seeThrough;
  seeThrough.setColor(QPalette::Base, Qt::transparent);
  line->setPalette(seeThrough);
  return line;
}

/// From its beginning.
void showLine(QLineEdit& line, const std::string& text) {
  line.setText(messageLine(text));
  line.setCursorPosition(0);
}

}  // namespace

MessagePane::MessagePane(Shown shown, QWidget* parent)
    : QWidget(parent),
      shown_(std::move(shown)),
      head_(new QWidget(this)),
      body_(new QStackedWidget(this)),
      text_(new QPlainTextEdit(body_)),
      pictureBar_(new QWidget(this)),
      attachments_(new AttachmentTable(shown_.attachments, this)),
      htmlPage_(new QWidget(body_)),
      htmlProblem_(new QLabel(htmlPage_)) {
  setObjectName("messagePane");
  makeHead();
  nameControl(*text_, "bodyTextView", tr("Message"));
  text_->setReadOnly(true);
  text_->setTabChangesFocus(true);
  text_->setFrameShape(QFrame::NoFrame);
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  body_->addWidget(text_);
  body_->addWidget(htmlPage_);
  nameControl(*htmlProblem_, "htmlProblem");
  htmlProblem_->setTextFormat(Qt::PlainText);
  htmlProblem_->setWordWrap(true);
  htmlProblem_->hide();
  auto* page = new QVBoxLayout(htmlPage_);
  page->setContentsMargins(0, 0, 0, 0);
  page->addWidget(htmlProblem_);
  makePictureBar();

  auto* top = new QHBoxLayout;
  top->addWidget(head_, 1);
  top->addWidget(makeModeButtons(), 0, Qt::AlignTop);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(8, 6, 8, 0);
  column->addLayout(top);
  column->addWidget(pictureBar_);
  column->addWidget(body_, 1);
  column->addWidget(attachments_);
  shown_.viewer.headIsShown = true;
  shown_.viewer.setWebView(this);
  refresh();
}

MessagePane::~MessagePane() { shown_.viewer.setWebView(nullptr); }

void MessagePane::makePictureBar() {
  pictureBar_->setObjectName("remotePicturesBar");
  pictureLabel_ = new QLabel(pictureBar_);
  auto* load = new QPushButton(tr("Load this once"), pictureBar_);
  nameControl(*pictureLabel_, "remotePicturesLabel");
  nameControl(*load, "loadRemotePicturesButton");
  auto* row = new QHBoxLayout(pictureBar_);
  row->setContentsMargins(0, 2, 0, 2);
  row->addWidget(pictureLabel_);
  row->addWidget(load);
  row->addStretch();
  pictureBar_->hide();
  connect(load, &QPushButton::clicked, this, [this] { htmlView().loadRemotePictures(); });
}

void MessagePane::showPictureBar() {
  const int count = html_ == nullptr ? 0 : html_->heldBack();
  pictureLabel_->setText(tr("%n remote images not loaded.", "", count));
  pictureBar_->setVisible(count > 0 && shown_.viewer.views.htmlShowing);
}

bool MessagePane::printHtml(QPrinter& printer, QPainter& painter) {
  return html_ != nullptr && html_->print(printer, painter);
}

HtmlView& MessagePane::htmlView() {
  if (html_ != nullptr) return *html_;
  html_ = makeHtmlView(htmlPage_).release();
  htmlPage_->layout()->addWidget(html_);
  html_->setDark(dark_);
  html_->zoom(zoom_);
  html_->findPicture = [this](const QString& contentId) -> std::optional<PagePicture> {
    const InlineImage* image = shown_.viewer.findInlineImage(plainText(contentId));
    if (image == nullptr) return std::nullopt;
    return PagePicture{QByteArray::fromStdString(image->type),
                       QByteArray::fromStdString(image->bytes)};
  };
  html_->heldBackChanged = [this] { showPictureBar(); };
  html_->linkClicked = [this](const QString& target) {
    if (mayOpenLink(plainText(target), shown_.ui)) {
      QDesktopServices::openUrl(QUrl::fromEncoded(target.toLatin1()));
    }
  };
  html_->failed = [this](const QString& reason) {
    htmlProblem_->setText(reason);
    htmlProblem_->show();
    html_->hide();
  };
  return *html_;
}

void MessagePane::loadHtml(const std::string& html) {
  if (html_ == nullptr && html.empty()) return;
  htmlProblem_->hide();
  htmlView().show();
  htmlView().loadHtml(html);
}

void MessagePane::loadFile(const std::string& path) {
  htmlProblem_->hide();
  htmlView().show();
  htmlView().loadFile(path);
}

void MessagePane::makeHead() {
  headLines_ = new QFormLayout(head_);
  headLines_->setContentsMargins(0, 0, 0, 0);
  headLines_->setVerticalSpacing(2);
  headLines_->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  subject_ = makeLine(head_, "subjectLine", tr("Subject"));
  from_ = makeLine(head_, "fromLine", tr("From"));
  to_ = makeLine(head_, "toLine", tr("To"));
  cc_ = makeLine(head_, "ccLine", tr("Cc"));
  date_ = makeLine(head_, "dateLine", tr("Date"));
  tags_ = makeLine(head_, "tagsLine", tr("Tags"));
  QFont bold = subject_->font();
  bold.setBold(true);
  subject_->setFont(bold);
  headLines_->addRow(tr("Subject:"), subject_);
  headLines_->addRow(tr("From:"), from_);
  headLines_->addRow(tr("To:"), to_);
  headLines_->addRow(tr("Cc:"), cc_);
  headLines_->addRow(tr("Date:"), date_);
  headLines_->addRow(tr("Tags:"), tags_);
}

QWidget* MessagePane::makeModeButtons() {
  auto* buttons = new QWidget(this);
  auto* row = new QHBoxLayout(buttons);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(0);
  textButton_ = new QPushButton(tr("Text"), buttons);
  htmlButton_ = new QPushButton(tr("HTML"), buttons);
  sourceButton_ = new QPushButton(tr("Source"), buttons);
  nameControl(*textButton_, "textButton");
  nameControl(*htmlButton_, "htmlButton");
  nameControl(*sourceButton_, "sourceButton");
  for (QPushButton* button : {textButton_, htmlButton_, sourceButton_}) row->addWidget(button);
  textButton_->setCheckable(true);
  htmlButton_->setCheckable(true);
  MessageViewer& viewer = shown_.viewer;
  // The button below is one that changes between the two.
  connect(textButton_, &QPushButton::clicked, this, [this, &viewer] {
    if (viewer.views.htmlShowing) viewer.viewText();
    showMode();
  });
  connect(htmlButton_, &QPushButton::clicked, this, [this, &viewer] {
    if (viewer.views.textButtonTitle == "HTML") viewer.viewText();
    showMode();
  });
  connect(sourceButton_, &QPushButton::clicked, this, [this] { shown_.showSource(); });
  return buttons;
}

void MessagePane::refresh() {
  showHead();
  showMode();
  const MessageViews& views = shown_.viewer.views;
  // In place of a message a short reason may stand.
  const bool isReason =
      shown_.viewer.messageText.empty() && views.bodyTextView.size() < kLongestReason;
  const QString text = isReason ? coreWords(views.bodyTextView) : qtText(views.bodyTextView);
  if (text_->toPlainText() != text) {
    text_->setPlainText(text);
    showMarks();
  }
  refreshAttachments();
}

void MessagePane::refreshAttachments() {
  const MessageViewer& viewer = shown_.viewer;
  if (viewer.attachOwnerId != attachmentsOf_ || viewer.views.htmlShowing != attachmentsWithHtml_) {
    attachmentsOf_ = viewer.attachOwnerId;
    attachmentsWithHtml_ = viewer.views.htmlShowing;
    shown_.attachments.load(attachmentsOf_, attachmentsWithHtml_);
  }
  attachments_->refresh();
}

void MessagePane::showHead() {
  const MessageHead& head = shown_.viewer.head;
  const bool shown = !head.date.empty() || !head.from.empty() || !head.subject.empty();
  head_->setVisible(shown);
  showLine(*subject_, head.subject.empty() ? plainText(tr("(no subject)")) : head.subject);
  showLine(*from_, head.from);
  showLine(*to_, head.to);
  showLine(*cc_, head.cc);
  showLine(*date_, head.date);
  QStringList tags;
  for (const std::string& tag : head.tags) tags += messageLine(tag);
  if (!head.notes.empty()) tags += messageLine(head.notes);
  tags_->setText(tags.join(QStringLiteral("  \u00b7  ")));
  headLines_->setRowVisible(cc_, !head.cc.empty());
  headLines_->setRowVisible(to_, !head.to.empty());
  headLines_->setRowVisible(tags_, !tags.isEmpty());
}

void MessagePane::showMode() {
  const MessageViews& views = shown_.viewer.views;
  const bool hasHtml = views.htmlShowing || views.textButtonTitle == "HTML";
  textButton_->setVisible(views.textButtonEnabled);
  htmlButton_->setVisible(views.textButtonEnabled && hasHtml);
  sourceButton_->setVisible(views.textButtonEnabled);
  textButton_->setChecked(!views.htmlShowing);
  htmlButton_->setChecked(views.htmlShowing);
  body_->setCurrentWidget(views.htmlShowing ? htmlPage_ : static_cast<QWidget*>(text_));
  showPictureBar();
}

bool MessagePane::scrollOn() {
  if (shown_.viewer.views.htmlShowing) return html_ != nullptr && html_->scrollOn();
  QScrollBar* bar = text_->verticalScrollBar();
  const int before = bar->value();
  bar->setValue(before + bar->pageStep());
  return bar->value() != before;
}

void MessagePane::copy() {
  if (shown_.viewer.views.htmlShowing && html_ != nullptr) {
    html_->copy();
  } else {
    text_->copy();
  }
}

void MessagePane::focusText() { text_->setFocus(); }

void MessagePane::watchKeys(QObject* keys) {
  text_->installEventFilter(keys);
  text_->viewport()->installEventFilter(keys);
}

void MessagePane::markWords(const std::vector<std::string>& words) {
  marked_ = words;
  showMarks();
}

/// The engine marks one text at a time.
void MessagePane::showMarks() {
  constexpr qsizetype kMostMarks = 2000;
  QList<QTextEdit::ExtraSelection> marks;
  for (const std::string& word : marked_) {
    QTextCursor at(text_->document());
    while (marks.size() < kMostMarks &&
           !(at = text_->document()->find(qtText(word), at)).isNull()) {
      QTextEdit::ExtraSelection mark;
      mark.cursor = at;
      mark.format.setBackground(palette().highlight());
      mark.format.setForeground(palette().highlightedText());
      marks += mark;
    }
  }
  text_->setExtraSelections(marks);
  if (html_ != nullptr) html_->mark(marked_.empty() ? QString() : qtText(marked_.front()));
}

void MessagePane::zoom(double factor) {
  zoom_ = factor;
  QFont font = textFont_;
  font.setPointSizeF(font.pointSizeF() * factor);
  text_->setFont(font);
  if (html_ != nullptr) html_->zoom(factor);
}

void MessagePane::setTextFont(const QFont& font) {
  textFont_ = font;
  zoom(zoom_);
}

void MessagePane::setDark(bool dark) {
  dark_ = dark;
  if (html_ != nullptr) html_->setDark(dark);
}

}  // namespace keldane
