#include "desktop/message_pane.h"

#include <QBoxLayout>
#include <QButtonGroup>
#include <QFormLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>

#include "app/keldane_controller.h"
#include "desktop/form_binding.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

/// A line of the head: plain text that may be taken away by the mouse, and breaks where it must.
QLabel* makeLine(QWidget* parent, const char* name) {
  auto* label = new QLabel(parent);
  label->setObjectName(QString::fromLatin1(name));
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  label->setWordWrap(true);
  return label;
}

}  // namespace

MessagePane::MessagePane(KeldaneController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      head_(new QWidget(this)),
      body_(new QStackedWidget(this)),
      text_(new QPlainTextEdit(body_)) {
  setObjectName("messagePane");
  makeHead();
  nameControl(*text_, "bodyTextView", tr("Message"));
  text_->setReadOnly(true);
  text_->setTabChangesFocus(true);
  text_->setFrameShape(QFrame::NoFrame);
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  body_->addWidget(text_);

  auto* top = new QHBoxLayout;
  top->addWidget(head_, 1);
  top->addWidget(makeModeButtons(), 0, Qt::AlignTop);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(8, 6, 8, 0);
  column->addLayout(top);
  column->addWidget(body_, 1);
  controller_.messageViewer().headIsShown = true;
  refresh();
}

void MessagePane::makeHead() {
  headLines_ = new QFormLayout(head_);
  headLines_->setContentsMargins(0, 0, 0, 0);
  headLines_->setVerticalSpacing(2);
  headLines_->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  subject_ = makeLine(head_, "subjectLine");
  from_ = makeLine(head_, "fromLine");
  to_ = makeLine(head_, "toLine");
  cc_ = makeLine(head_, "ccLine");
  date_ = makeLine(head_, "dateLine");
  tags_ = makeLine(head_, "tagsLine");
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
  MessageViewer& viewer = controller_.messageViewer();
  // The button below is one that changes between the two.
  connect(textButton_, &QPushButton::clicked, this, [this, &viewer] {
    if (viewer.views.htmlShowing) viewer.viewText();
    showMode();
  });
  connect(htmlButton_, &QPushButton::clicked, this, [this, &viewer] {
    if (viewer.views.textButtonTitle == "HTML") viewer.viewText();
    showMode();
  });
  connect(sourceButton_, &QPushButton::clicked, this, [&viewer] { viewer.viewOrig(); });
  return buttons;
}

void MessagePane::refresh() {
  showHead();
  showMode();
  const MessageViews& views = controller_.messageViewer().views;
  const QString text = qtText(views.bodyTextView);
  if (text_->toPlainText() != text) text_->setPlainText(text);
}

void MessagePane::showHead() {
  const MessageHead& head = controller_.messageViewer().head;
  const bool shown = !head.date.empty() || !head.from.empty() || !head.subject.empty();
  head_->setVisible(shown);
  subject_->setText(head.subject.empty() ? tr("(no subject)") : messageLine(head.subject));
  from_->setText(messageLine(head.from));
  to_->setText(messageLine(head.to));
  cc_->setText(messageLine(head.cc));
  date_->setText(messageLine(head.date));
  QStringList tags;
  for (const std::string& tag : head.tags) tags += messageLine(tag);
  if (!head.notes.empty()) tags += messageLine(head.notes);
  tags_->setText(tags.join(QStringLiteral("  \u00b7  ")));
  headLines_->setRowVisible(cc_, !head.cc.empty());
  headLines_->setRowVisible(to_, !head.to.empty());
  headLines_->setRowVisible(tags_, !tags.isEmpty());
}

void MessagePane::showMode() {
  const MessageViews& views = controller_.messageViewer().views;
  const bool hasHtml = views.htmlShowing || views.textButtonTitle == "HTML";
  textButton_->setVisible(views.textButtonEnabled);
  htmlButton_->setVisible(views.textButtonEnabled && hasHtml);
  sourceButton_->setVisible(views.textButtonEnabled);
  textButton_->setChecked(!views.htmlShowing);
  htmlButton_->setChecked(views.htmlShowing);
}

bool MessagePane::scrollOn() {
  QScrollBar* bar = text_->verticalScrollBar();
  const int before = bar->value();
  bar->setValue(before + bar->pageStep());
  return bar->value() != before;
}

void MessagePane::copy() { text_->copy(); }

}  // namespace keldane
