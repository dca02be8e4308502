#include "desktop/getting_started.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QUrl>
#include <utility>
#ifdef KELDANE_PDF_VIEW
#include <QPdfDocument>
#include <QPdfView>
#endif

#include "desktop/form_binding.h"

namespace keldane {
namespace {

/// In the language of the system, or in English; as it is installed, and as it is built.
QString documentPath() {
  const QString program = QCoreApplication::applicationDirPath();
  const QString language = QLocale::system().name().section('_', 0, 0);
  for (const QString& name :
       {"KD2020_kwikStart." + language + ".pdf", QStringLiteral("KD2020_kwikStart.pdf")}) {
    for (const char* folder : {"/../share/keldanepro/", "/", "/../../desktop/"}) {
      const QFileInfo file(program + folder + name);
      if (file.isFile()) return file.canonicalFilePath();
    }
  }
  return {};
}

}  // namespace

GettingStartedWindow::GettingStartedWindow(bool& shownAtStart, std::function<void()> done,
                                           QWidget* parent)
    : PanelDialog("splashScreen", tr("Getting Started"), parent),
      shownAtStart_(shownAtStart),
      atStart_(new QCheckBox(tr("Show this at start"), this)) {
  nameControl(*atStart_, "splashAtStartCheck");
  auto* open = new QPushButton(tr("Open in Another Program"), this);
  auto* close = new QPushButton(tr("Close"), this);
  nameControl(*open, "openSplashButton");
  nameControl(*close, "closeSplashButton");
  close->setDefault(true);
  open->setEnabled(!documentPath().isEmpty());
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(atStart_);
  buttons->addStretch();
  buttons->addWidget(open);
  buttons->addWidget(close);
  auto* column = new QVBoxLayout(this);
  column->addWidget(makeView(), 1);
  column->addLayout(buttons);
  setWindowFlag(Qt::WindowMinMaxButtonsHint);
  resize(720, 820);
  connect(open, &QPushButton::clicked, this,
          [] { QDesktopServices::openUrl(QUrl::fromLocalFile(documentPath())); });
  connect(close, &QPushButton::clicked, this, [this] { reject(); });
  cancelled = [this, done = std::move(done)] {
    shownAtStart_ = atStart_->isChecked();
    done();
  };
}

GettingStartedWindow::~GettingStartedWindow() = default;

QWidget* GettingStartedWindow::makeView() {
  const QString path = documentPath();
#ifdef KELDANE_PDF_VIEW
  if (!path.isEmpty()) {
    document_ = new QPdfDocument(this);
    auto* view = new QPdfView(this);
    nameControl(*view, "splashPDFView", tr("Getting Started"));
    view->setPageMode(QPdfView::PageMode::MultiPage);
    view->setZoomMode(QPdfView::ZoomMode::FitToWidth);
    view->setDocument(document_);
    return view;
  }
#endif
  auto* place = new QLabel(
      path.isEmpty() ? tr("The document is missing: install the program again.") : path, this);
  nameControl(*place, "splashPDFView", tr("Getting Started"));
  place->setTextFormat(Qt::PlainText);
  place->setAlignment(Qt::AlignCenter);
  place->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  return place;
}

/// The document is read when it is first shown.
void GettingStartedWindow::refresh() {
  atStart_->setChecked(shownAtStart_);
#ifdef KELDANE_PDF_VIEW
  if (document_ != nullptr && document_->status() != QPdfDocument::Status::Ready) {
    document_->load(documentPath());
  }
#endif
}

}  // namespace keldane
