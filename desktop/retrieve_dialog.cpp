#include "desktop/retrieve_dialog.h"

#include <array>
#include <utility>

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>

#include "app/keldane_controller.h"
#include "archive/tag_row.h"
#include "desktop/date_menus.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

constexpr const char* kOperators[] = {"AND", "OR", "AND NOT", "OR NOT"};

/// Names of the numbered controls, which live as long as the program.
const char* numbered(const char* name, std::size_t number) {
  static std::vector<std::unique_ptr<std::string>> names;
  names.push_back(std::make_unique<std::string>(name + std::to_string(number)));
  return names.back()->c_str();
}

}  // namespace

RetrieveDialog::RetrieveDialog(KeldaneController& controller, QWidget* parent)
    : PanelDialog("retrievePanel", tr("Search"), parent), controller_(controller) {
  auto* column = new QVBoxLayout(this);
  for (QWidget* part : {makePhrase(), makeRows(), makeDates(), makeAttachments(), makeTags()}) {
    column->addWidget(part);
  }
  column->addLayout(makeButtons());
  cancelled = [this] { controller_.retrieveSheet().cancelRetrieve(); };
}

QComboBox* RetrieveDialog::makeOperator(const char* name, std::string& value,
                                        const QString& words) {
  auto* menu = new QComboBox(this);
  for (const char* title : kOperators) menu->addItem(tr(title), QString::fromLatin1(title));
  form_.bind(*menu, name, value);
  menu->setAccessibleName(words);
  return menu;
}

QPushButton* RetrieveDialog::makeButton(const QString& words, const char* name,
                                        std::function<void()> run) {
  auto* button = new QPushButton(words, this);
  nameControl(*button, name);
  button->setAutoDefault(false);
  if (run) {
    connect(button, &QPushButton::clicked, this, [this, run = std::move(run)] {
      form_.take();
      run();
      form_.show();
    });
  }
  return button;
}

QWidget* RetrieveDialog::makePhrase() {
  auto* part = new QWidget(this);
  auto* row = new QFormLayout(part);
  row->setContentsMargins(0, 0, 0, 0);
  auto* field = new QLineEdit(part);
  form_.bind(*field, "entireMsgTextField", controller_.retrieveSheet().form.entireMsgTextField);
  field->setPlaceholderText(
      tr("a phrase in sender, recipients, subject, mailbox, text or "
         "attachment names"));
  row->addRow(tr("Entire message:"), field);
  return part;
}

QWidget* RetrieveDialog::makeRows() {
  SearchForm& values = controller_.retrieveSheet().form;
  auto* part = new QGroupBox(tr("Fields"), this);
  auto* grid = new QGridLayout(part);
  grid->setVerticalSpacing(3);
  for (std::size_t i = 0; i < kSearchRows; ++i) {
    const auto row = static_cast<int>(i);
    const QString number = QString::number(i + 1);
    auto* join = makeOperator(numbered("opsButton", i + 1), values.opsButton[i],
                              tr("Operator %1").arg(number));
    auto* field = new QComboBox(part);
    for (const SearchField& one : kSearchFields) {
      field->addItem(tr(std::string(one.title).c_str()), qtText(one.title));
    }
    form_.bind(*field, numbered("fieldButton", i + 1), values.fieldButton[i]);
    field->setAccessibleName(tr("Field %1").arg(number));
    auto* text = new QLineEdit(part);
    form_.bind(*text, numbered("searchTextField", i + 1), values.searchTextField[i]);
    text->setAccessibleName(tr("Text %1").arg(number));
    grid->addWidget(join, row, 0);
    grid->addWidget(field, row, 1);
    grid->addWidget(text, row, 2);
  }
  grid->setColumnStretch(2, 1);
  auto* mailboxes = makeButton(tr("Mailboxes..."), "mailboxesButton", {});
  connect(mailboxes, &QPushButton::clicked, this, [this, mailboxes] {
    SearchForm& form = controller_.retrieveSheet().form;
    form_.take();
    controller_.pickLists().setMailboxField(form);
    openMenu(form.mailboxesButton, mailboxes, [this, &form](const std::string& item) {
      controller_.pickLists().chooseMailbox(form, item);
    });
  });
  grid->addWidget(mailboxes, static_cast<int>(kSearchRows), 1, 1, 2, Qt::AlignLeft);
  return part;
}

void RetrieveDialog::openMenu(const std::vector<std::string>& items, QWidget* below,
                              const std::function<void(const std::string& item)>& choose) {
  QMenu menu(this);
  for (const std::string& item : items) {
    // "&" would mark a key.
    QString title = messageLine(item);
    title.replace('&', "&&");
    connect(menu.addAction(title), &QAction::triggered, this, [&] { choose(item); });
  }
  if (items.empty()) menu.addAction(tr("(none)"))->setEnabled(false);
  menu.exec(below->mapToGlobal(QPoint(0, below->height())));
  form_.show();
}

QWidget* RetrieveDialog::makeDates() {
  DateMenus& dates = controller_.retrieveSheet().form.dates;
  auto* part = new QGroupBox(tr("Dates"), this);
  auto* form = new QFormLayout(part);
  form->addRow(
      tr("From:"),
      makeDateMenus(
          form_, tr("First day"),
          {{{"beginMo", dates.beginMo}, {"beginDa", dates.beginDa}, {"beginYr", dates.beginYr}}},
          part));
  QHBoxLayout* last = makeDateMenus(
      form_, tr("Last day"),
      {{{"endMo", dates.endMo}, {"endDa", dates.endDa}, {"endYr", dates.endYr}}}, part);
  RetrieveSheet& sheet = controller_.retrieveSheet();
  last->addWidget(makeButton(tr("Today"), "dayButton", [&sheet] { sheet.doDay(); }));
  last->addWidget(makeButton(tr("Week"), "weekButton", [&sheet] { sheet.doWeek(); }));
  last->addWidget(makeButton(tr("Month"), "monthButton", [&sheet] { sheet.doMonth(); }));
  last->addWidget(makeButton(tr("Year"), "yearButton", [&sheet] { sheet.doYear(); }));
  form->addRow(tr("To:"), last);
  return part;
}

QWidget* RetrieveDialog::makeAttachments() {
  RetrieveSheet& sheet = controller_.retrieveSheet();
  auto* part = new QWidget(this);
  auto* row = new QHBoxLayout(part);
  row->setContentsMargins(0, 0, 0, 0);
  auto* only = new QCheckBox(tr("Only with attachments"), part);
  form_.bind(*only, "onlyAttachCheck", sheet.form.onlyAttachCheck);
  row->addWidget(only);
  row->addWidget(makeOperator("opsButton9", sheet.form.opsButton[kSearchRows],
                              tr("Operator of the attachment types")));
  row->addWidget(makeButton(tr("Attachment Types..."), "attchTypesButton",
                            [&sheet] { sheet.doAttchTypes(); }));
  row->addStretch();
  return part;
}

QWidget* RetrieveDialog::makeTags() {
  SearchForm& values = controller_.retrieveSheet().form;
  auto* part = new QGroupBox(tr("Tags"), this);
  auto* grid = new QGridLayout(part);
  grid->setVerticalSpacing(3);
  const auto add = [&](int row, const QString& words, const char* operatorName,
                       std::string& operatorValue, QWidget* control) {
    grid->addWidget(makeOperator(operatorName, operatorValue, tr("Operator of %1").arg(words)), row,
                    0);
    auto* label = new QLabel(words + ':', part);
    label->setBuddy(control);
    grid->addWidget(label, row, 1);
    grid->addWidget(control, row, 2);
  };
  category_ = new QComboBox(part);
  form_.bind(*category_, "searchCatButton", values.searchCatButton);
  auto* keywords = new QLineEdit(part);
  form_.bind(*keywords, "searchKeywordsTextField", values.searchKeywordsTextField);
  auto* notes = new QLineEdit(part);
  form_.bind(*notes, "searchNotesTextField", values.searchNotesTextField);
  auto* priority = new QComboBox(part);
  for (const std::string_view title : kPriorityTitles) {
    priority->addItem(tr(std::string(title).c_str()), qtText(title));
  }
  form_.bind(*priority, "searchPriorityButton", values.searchPriorityButton);
  add(0, tr("Category"), "tagsAndButton", values.tagsAndButton, category_);
  add(1, tr("Keywords"), "catAndButton", values.catAndButton, keywords);
  add(2, tr("Notes"), "keywordsAndButton", values.keywordsAndButton, notes);
  add(3, tr("Priority"), "priorityAndButton", values.priorityAndButton, priority);
  auto* pick = makeButton(tr("Keywords..."), "keywordsButton", {});
  connect(pick, &QPushButton::clicked, this, [this, pick] {
    SearchForm& form = controller_.retrieveSheet().form;
    form_.take();
    controller_.pickLists().setKeywordsField(form);
    openMenu(form.keywordsButton, pick, [this, &form](const std::string& item) {
      controller_.pickLists().chooseKeyword(form, item);
    });
  });
  auto* byPriority = new QCheckBox(tr("Search by priority"), part);
  form_.bind(*byPriority, "priorityCheck", values.priorityCheck);
  grid->addWidget(pick, 1, 3);
  grid->addWidget(byPriority, 3, 3);
  auto* with = new QCheckBox(tr("Only with tags"), part);
  auto* without = new QCheckBox(tr("Only without tags"), part);
  form_.bind(*with, "withTagsCheck", values.withTagsCheck);
  form_.bind(*without, "withoutTagsCheck", values.withoutTagsCheck);
  connect(with, &QCheckBox::clicked, this, [this, &values](bool on) {
    form_.take();
    checkWithTags(values, on);
    form_.show();
  });
  connect(without, &QCheckBox::clicked, this, [this, &values](bool on) {
    form_.take();
    checkWithoutTags(values, on);
    form_.show();
  });
  auto* checks = new QHBoxLayout;
  checks->addWidget(with);
  checks->addWidget(without);
  checks->addStretch();
  grid->addLayout(checks, 4, 0, 1, 4);
  grid->setColumnStretch(2, 1);
  return part;
}

QLayout* RetrieveDialog::makeButtons() {
  RetrieveSheet& sheet = controller_.retrieveSheet();
  auto* row = new QHBoxLayout;
  row->addWidget(
      makeButton(tr("Reset"), "resetRetrieveButton", [&sheet] { resetRetrieve(sheet.form); }));
  row->addWidget(makeButton(tr("Edit SQL..."), "editSqlButton",
                            [this] { controller_.sqlEditor().editSqlString(); }));
  savedSearches_ = makeButton(tr("Saved Searches..."), "savedSearchesButton",
                              [this] { controller_.savedSearchesPanel().savedSearches(); });
  row->addWidget(savedSearches_);
  row->addStretch();
  row->addWidget(
      makeButton(tr("Cancel"), "cancelRetrieveButton", [&sheet] { sheet.cancelRetrieve(); }));
  auto* search =
      makeButton(tr("Search"), "retrieveEmailsButton", [&sheet] { sheet.retrieveEmails(); });
  search->setDefault(true);
  row->addWidget(search);
  return row;
}

void RetrieveDialog::refresh() {
  const std::string chosen = controller_.retrieveSheet().form.searchCatButton;
  category_->clear();
  for (const std::string& title : controller_.tagPanel().setCatButton.titles) {
    category_->addItem(title == kNoCategoryTitle ? tr("None") : messageLine(title), qtText(title));
  }
  controller_.retrieveSheet().form.searchCatButton = chosen;
  const RetrievePanel& panel = controller_.retrieveSheet().panel;
  savedSearches_->setEnabled(panel.savedSearchesButtonEnabled);
  savedSearches_->setVisible(!panel.savedSearchesButtonHidden);
  form_.show();
}

}  // namespace keldane
