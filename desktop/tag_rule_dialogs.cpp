#include "desktop/tag_rule_dialogs.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QTreeWidget>

#include "app/panels/tag_rule_editor.h"
#include "desktop/category_box.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

constexpr const char* kWords[] = {QT_TRANSLATE_NOOP("TagRuleSheetDialog", "from"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "to"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "subject"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "body"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "mailbox"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "contains"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "does not contain"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "any"),
                                  QT_TRANSLATE_NOOP("TagRuleSheetDialog", "all")};
static_assert(std::size(kWords) ==
              kRuleFieldTitles.size() + kRuleRelationTitles.size() + kRuleAllTitles.size());

template <std::size_t count>
void addTitles(QComboBox& menu, const std::array<std::string_view, count>& titles) {
  for (const std::string_view title : titles) {
    menu.addItem(TagRuleSheetDialog::tr(title.data()), qtText(title));
  }
}

}  // namespace

TagRulesView::TagRulesView(TagRuleEditor& editor, QWidget* parent)
    : QWidget(parent), editor_(editor), table_(new QTreeWidget(this)) {
  setObjectName("tagRulesView");
  auto* about = new QLabel(tr("Each email that is archived goes through the checked rules, from "
                              "the top. A rule gives tags, or keeps the email out."),
                           this);
  about->setWordWrap(true);
  nameControl(*table_, "tagRulesTableView", tr("Tag rules"));
  table_->setRootIsDecorated(false);
  table_->setHeaderHidden(true);
  table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  auto* column = new QVBoxLayout(this);
  column->addWidget(about);
  column->addWidget(table_, 1);
  column->addLayout(makeButtons());
  takeSelection();
  connect(table_, &QTreeWidget::itemSelectionChanged, this, [this] {
    if (!filling_) takeSelection();
  });
  connect(table_, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item) {
    if (filling_) return;
    // Later: the table is filled anew, and this row is still in use.
    const auto row = static_cast<std::size_t>(item->data(0, Qt::UserRole).toInt());
    QTimer::singleShot(0, this, [this, row] { editor_.didClickRuleCheck(row); });
  });
  connect(table_, &QTreeWidget::itemDoubleClicked, this, [this] { editor_.editRule(); });
}

QLayout* TagRulesView::makeButtons() {
  struct Button {
    const char* name;
    QString words;
    void (TagRuleEditor::*run)();
    bool ofSelection;
  };
  const Button buttons[] = {{"addRuleButton", tr("Add..."), &TagRuleEditor::addRule, false},
                            {"editRuleButton", tr("Edit..."), &TagRuleEditor::editRule, true},
                            {"dupRuleButton", tr("Duplicate..."), &TagRuleEditor::dupRule, true},
                            {"removeRuleButton", tr("Remove"), &TagRuleEditor::removeRule, true}};
  auto* row = new QHBoxLayout;
  for (const Button& each : buttons) {
    auto* button = new QPushButton(each.words, this);
    nameControl(*button, each.name);
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, [this, run = each.run] { (editor_.*run)(); });
    if (each.ofSelection) ofSelection_.push_back(button);
    row->addWidget(button);
  }
  row->addStretch();
  return row;
}

void TagRulesView::takeSelection() {
  editor_.selectedRows.clear();
  for (const QModelIndex& index : table_->selectionModel()->selectedRows()) {
    editor_.selectedRows.push_back(static_cast<std::size_t>(index.row()));
  }
  for (QPushButton* button : ofSelection_) button->setEnabled(!editor_.selectedRows.empty());
}

void TagRulesView::refresh() {
  filling_ = true;
  const int before = table_->currentIndex().row();
  table_->clear();
  const std::vector<TagRulesRow>& rules = editor_.tagRuleRows();
  for (std::size_t row = 0; row < rules.size(); ++row) {
    auto* item = new QTreeWidgetItem(table_, {messageLine(rules[row].tagRuleDesc)});
    item->setCheckState(0, rules[row].tagRuleCheck ? Qt::Checked : Qt::Unchecked);
    item->setData(0, Qt::UserRole, static_cast<int>(row));
  }
  if (before >= 0) table_->setCurrentItem(table_->topLevelItem(before));
  filling_ = false;
  takeSelection();
}

TagRuleSheetDialog::TagRuleSheetDialog(TagRuleEditor& editor, QWidget* parent)
    : PanelDialog("tagRulesSheet", tr("Tag Rule"), parent), editor_(editor) {
  TagRuleSheet& sheet = editor.sheet;
  auto* description = new QLineEdit(this);
  form_.bind(*description, "ruleDescTextField", sheet.ruleDescTextField);
  auto* all = new QComboBox(this);
  addTitles(*all, kRuleAllTitles);
  form_.bind(*all, "ruleAllButton", sheet.ruleAllButton);
  auto* fields = new QFormLayout;
  fields->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  fields->addRow(tr("Rule:"), description);
  fields->addRow(tr("Must hold of these:"), all);

  auto* tags = new QRadioButton(tr("Tag the email:"), this);
  auto* excludes = new QRadioButton(tr("Keep the email out of the archive"), this);
  nameControl(*tags, "tagOrExcludeMatrix");
  nameControl(*excludes, "excludeButton");
  form_.bind([tags, excludes,
              &sheet] { (sheet.tagOrExcludeMatrix == 0 ? tags : excludes)->setChecked(true); },
             [excludes, &sheet] { sheet.tagOrExcludeMatrix = excludes->isChecked() ? 1 : 0; });
  QWidget* given = makeTags();
  connect(tags, &QRadioButton::toggled, given, &QWidget::setEnabled);

  auto* column = new QVBoxLayout(this);
  column->addLayout(fields);
  column->addLayout(makeCriteria());
  column->addSpacing(8);
  column->addWidget(tags);
  column->addWidget(given);
  column->addWidget(excludes);
  column->addStretch();
  column->addLayout(makeButtons());
  resize(560, sizeHint().height());
  cancelled = [this] { editor_.cancelTagRulesSheet(); };
}

QLayout* TagRuleSheetDialog::makeCriteria() {
  auto* rows = new QGridLayout;
  for (std::size_t i = 0; i < kRuleCriteria; ++i) {
    const std::string number = std::to_string(i + 1);
    names_[i] = {"ruleFieldButton" + number, "ruleRelationButton" + number,
                 "ruleValueTextField" + number};
    RuleCriterion& criterion = editor_.sheet.ruleCriteriaList[i];
    auto* field = new QComboBox(this);
    addTitles(*field, kRuleFieldTitles);
    form_.bind(*field, names_[i][0].c_str(), criterion.field);
    field->setAccessibleName(tr("Criterion %1, field").arg(i + 1));
    auto* relation = new QComboBox(this);
    addTitles(*relation, kRuleRelationTitles);
    form_.bind(*relation, names_[i][1].c_str(), criterion.relation);
    relation->setAccessibleName(tr("Criterion %1, relation").arg(i + 1));
    auto* value = new QLineEdit(this);
    form_.bind(*value, names_[i][2].c_str(), criterion.value);
    value->setAccessibleName(tr("Criterion %1, text").arg(i + 1));
    const int row = static_cast<int>(i);
    rows->addWidget(field, row, 0);
    rows->addWidget(relation, row, 1);
    rows->addWidget(value, row, 2);
  }
  rows->setColumnStretch(2, 1);
  return rows;
}

QWidget* TagRuleSheetDialog::makeTags() {
  TagRuleSheet& sheet = editor_.sheet;
  auto* part = new QWidget(this);
  auto* category = new QLineEdit(part);
  form_.bind(*category, "ruleCatTextField", sheet.ruleCatTextField);
  category->setAccessibleName(tr("Category"));
  auto* categories = new QComboBox(part);
  bindCategories(form_, *categories, "ruleCatButton", editor_.ruleCatButton);
  auto* both = new QHBoxLayout;
  both->addWidget(category, 1);
  both->addWidget(categories);
  auto* keywords = new QLineEdit(part);
  form_.bind(*keywords, "ruleKeywordsTextField", sheet.ruleKeywordsTextField);
  auto* priority = new QComboBox(part);
  addPriorities(*priority);
  form_.bindIndex(*priority, "rulePriorityButton", sheet.rulePriorityButton);
  auto* notes = new QLineEdit(part);
  form_.bind(*notes, "ruleNotesTextField", sheet.ruleNotesTextField);
  auto* fields = new QFormLayout(part);
  fields->setContentsMargins(24, 0, 0, 0);
  fields->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  fields->addRow(tr("Category:"), both);
  fields->addRow(tr("Keywords:"), keywords);
  fields->addRow(tr("Priority:"), priority);
  fields->addRow(tr("Notes:"), notes);
  connect(categories, &QComboBox::activated, this, [this] {
    form_.take();
    editor_.chooseRuleCat();
  });
  return part;
}

QLayout* TagRuleSheetDialog::makeButtons() {
  const auto save = [this] {
    form_.take();
    editor_.doAddRule();
  };
  return makeFoot({},
                  {{"cancelRuleButton", tr("Cancel")}, {"doAddRuleButton", tr("Save Rule"), save}});
}

}  // namespace keldane
