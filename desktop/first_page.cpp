#include "desktop/first_page.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "desktop/form_binding.h"

namespace keldane {
namespace {

constexpr int kButtonWidth = 280;

}  // namespace

FirstPage::FirstPage(QWidget* parent)
    : QWidget(parent), title_(new QLabel(this)), text_(new QLabel(this)) {
  setObjectName("firstPage");
  QFont large = title_->font();
  large.setPointSizeF(large.pointSizeF() * 1.6);
  title_->setFont(large);
  title_->setAlignment(Qt::AlignCenter);
  text_->setWordWrap(true);
  text_->setAlignment(Qt::AlignCenter);
  text_->setFixedWidth(2 * kButtonWidth);

  auto* column = new QVBoxLayout(this);
  column->addStretch(2);
  column->addWidget(title_, 0, Qt::AlignHCenter);
  column->addWidget(text_, 0, Qt::AlignHCenter);
  column->addSpacing(18);
  const auto add = [this, column](const char* name, const QString& words,
                                  std::function<void()> FirstPage::*run) {
    auto* button = new QPushButton(words, this);
    nameControl(*button, name);
    button->setMinimumSize(kButtonWidth, 38);
    column->addWidget(button, 0, Qt::AlignHCenter);
    connect(button, &QPushButton::clicked, this, [this, run] {
      if (this->*run) (this->*run)();
    });
    return button;
  };
  add("archiveMyMailButton", tr("Archive my mail..."), &FirstPage::archiveMyMail)->setDefault(true);
  add("openFilesButton", tr("Open a folder or file..."), &FirstPage::openFiles);
  add("connectToServerButton", tr("Connect to a server..."), &FirstPage::connectToServer);
  column->addStretch(3);
  setConnected(true);
}

void FirstPage::setConnected(bool connected) {
  if (connected) {
    title_->setText(tr("Your archive is empty"));
    text_->setText(
        tr("Choose mail that lies on this machine. It is read, never changed, and kept in an "
           "archive of your own."));
  } else {
    title_->setText(tr("No archive is open"));
    text_->setText(tr("Connect to the server that holds your archive."));
  }
  // A label that breaks its lines does not ask for their height by itself.
  text_->setMinimumHeight(text_->heightForWidth(text_->width()));
}

}  // namespace keldane
