#include "desktop/statistics_dialogs.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QRegularExpressionValidator>
#include <QScrollArea>
#include <QSplitter>

#include "app/panels/page_printer.h"
#include "app/panels/statistics_panel.h"
#include "desktop/bar_chart.h"
#include "desktop/date_menus.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

// A line of the report holds a name and an address.
constexpr int kReportWidth = 680;
constexpr int kPicturesWidth = 520;

std::vector<Bar> barsOf(const std::vector<StatsFigures::Count>& counts) {
  std::vector<Bar> bars;
  for (const StatsFigures::Count& each : counts) {
    bars.push_back({messageLine(each.name), each.count});
  }
  return bars;
}

}  // namespace

StatisticsRequestDialog::StatisticsRequestDialog(StatisticsPanel& panel, QWidget* parent)
    : PanelDialog("statsPanel", tr("Statistics"), parent) {
  StatsForm& values = panel.form;
  auto* fields = new QFormLayout;
  fields->addRow(tr("From:"), makeDateMenus(form_, tr("First day"),
                                            {{{"beginStatsMo", values.dates.beginMo},
                                              {"beginStatsDa", values.dates.beginDa},
                                              {"beginStatsYr", values.dates.beginYr}}},
                                            this));
  fields->addRow(tr("To:"), makeDateMenus(form_, tr("Last day"),
                                          {{{"endStatsMo", values.dates.endMo},
                                            {"endStatsDa", values.dates.endDa},
                                            {"endStatsYr", values.dates.endYr}}},
                                          this));
  auto* top = new QLineEdit(this);
  // The text stands in the statement as it is.
  top->setValidator(new QRegularExpressionValidator(QRegularExpression("[0-9]{0,5}"), top));
  top->setMaximumWidth(top->fontMetrics().averageCharWidth() * 12);
  form_.bind(*top, "limitSenderTextField", values.limitSenderTextField);
  fields->addRow(tr("Senders and receivers to list:"), top);
  auto* mailboxes = new QCheckBox(tr("List the mailboxes too"), this);
  form_.bind(*mailboxes, "statsByMailboxCheck", values.statsByMailboxCheck);
  fields->addRow(mailboxes);

  const auto report = [this, &panel] {
    form_.take();
    panel.doStatsReport();
    hide();
  };
  auto* column = new QVBoxLayout(this);
  column->addLayout(fields);
  column->addStretch();
  column->addLayout(makeFoot({}, {{"cancelStatsButton", tr("Cancel")},
                                  {"doStatsReportButton", tr("Make Report"), report}}));
}

StatisticsWindow::StatisticsWindow(StatisticsPanel& panel, std::function<void()> print,
                                   QWidget* parent)
    : PanelDialog("statsWindow", tr("Database Statistics"), parent),
      panel_(panel),
      text_(new QPlainTextEdit(this)) {
  nameControl(*text_, "statsTextView", tr("Report"));
  text_->setReadOnly(true);
  text_->setLineWrapMode(QPlainTextEdit::NoWrap);
  QFont courier = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  courier.setFamilies({"Courier", courier.family()});
  courier.setPointSize(12);
  text_->setFont(courier);
  auto* scroll = new QScrollArea(this);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setWidget(makePictures());
  nameControl(*scroll, "statsPictures", tr("The report as pictures"));
  auto* sides = new QSplitter(this);
  sides->addWidget(text_);
  sides->addWidget(scroll);
  sides->setStretchFactor(0, 1);
  sides->setStretchFactor(1, 1);
  sides->setSizes({kReportWidth, kPicturesWidth});
  sides->setChildrenCollapsible(false);

  auto* column = new QVBoxLayout(this);
  column->addWidget(sides, 1);
  column->addLayout(makeFoot({{"printStatsButton", tr("Print..."), std::move(print)}},
                             {{"closeStatsButton", tr("Close")}}));
  setWindowFlag(Qt::WindowMinMaxButtonsHint);
  resize(kReportWidth + kPicturesWidth, 700);
}

QWidget* StatisticsWindow::makePictures() {
  auto* pictures = new QWidget(this);
  years_ = new BarChart("yearsChart", tr("Emails a Year"), pictures);
  senders_ = new BarChart("sendersChart", tr("Top Senders"), pictures);
  receivers_ = new BarChart("receiversChart", tr("Top Receivers"), pictures);
  auto* column = new QVBoxLayout(pictures);
  column->setSpacing(18);
  for (BarChart* chart : {years_, senders_, receivers_}) column->addWidget(chart);
  column->addStretch();
  return pictures;
}

bool StatisticsWindow::printPictures(QPrinter& printer, QPainter& painter) const {
  const QRectF paper = printer.pageLayout().paintRectPixels(printer.resolution());
  const double scale = paper.width() / PagePrinter::kTextWidth;
  painter.save();
  painter.scale(scale, scale);
  double top = 0;
  for (const BarChart* chart : {years_, senders_, receivers_}) {
    top = chart->print(painter, top, PagePrinter::kTextWidth, paper.height() / scale,
                       [&printer] { return printer.newPage(); });
    if (top < 0) break;
  }
  painter.restore();
  return top >= 0;
}

void StatisticsWindow::refresh() {
  text_->setPlainText(qtText(shownText(panel_.statsTextView)));
  std::vector<Bar> years;
  for (const auto& [year, count] : panel_.figures.years) {
    years.push_back({QString::number(year), count});
  }
  years_->setBars(std::move(years));
  senders_->setBars(barsOf(panel_.figures.senders));
  receivers_->setBars(barsOf(panel_.figures.recipients));
}

}  // namespace keldane
