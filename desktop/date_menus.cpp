#include "desktop/date_menus.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QCoreApplication>
#include <QDate>
#include <QLocale>

#include "desktop/form_binding.h"

namespace keldane {
namespace {

constexpr int kFirstYear = 1970;
const char* const kAll = "All";

struct Words {
  Q_DECLARE_TR_FUNCTIONS(DateMenus)
};

QString twoDigits(int number) { return QStringLiteral("%1").arg(number, 2, 10, QChar('0')); }

void addMonths(QComboBox& menu) {
  menu.addItem(Words::tr("All months"), kAll);
  for (int month = 1; month <= 12; ++month) {
    menu.addItem(QLocale().standaloneMonthName(month), twoDigits(month));
  }
}

void addDays(QComboBox& menu) {
  menu.addItem(Words::tr("All days"), kAll);
  for (int day = 1; day <= 31; ++day) menu.addItem(QString::number(day), twoDigits(day));
}

void addYears(QComboBox& menu) {
  menu.addItem(Words::tr("All years"), kAll);
  for (int year = QDate::currentDate().year(); year >= kFirstYear; --year) {
    menu.addItem(QString::number(year), QString::number(year));
  }
}

}  // namespace

QHBoxLayout* makeDateMenus(FormBinding& form, const QString& words,
                           const std::array<DateMenu, 3>& monthDayYear, QWidget* parent) {
  auto* row = new QHBoxLayout;
  void (*const fill[])(QComboBox&) = {addMonths, addDays, addYears};
  const QString parts[] = {Words::tr("month"), Words::tr("day"), Words::tr("year")};
  for (std::size_t i = 0; i < monthDayYear.size(); ++i) {
    auto* menu = new QComboBox(parent);
    fill[i](*menu);
    form.bind(*menu, monthDayYear[i].name, monthDayYear[i].value);
    menu->setAccessibleName(words + ", " + parts[i]);
    row->addWidget(menu);
  }
  row->addStretch();
  return row;
}

}  // namespace keldane
