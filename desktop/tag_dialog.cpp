#include "desktop/tag_dialog.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "app/panels/tag_panel.h"
#include "desktop/category_box.h"

namespace keldane {

TagDialog::TagDialog(TagPanel& panel, QWidget* parent)
    : PanelDialog("tagPanel", tr("Tags"), parent), panel_(panel), about_(new QLabel(this)) {
  TagForm& values = panel.form;
  nameControl(*about_, "taggedLabel");
  about_->setWordWrap(true);

  auto* category = new QLineEdit(this);
  form_.bind(*category, "catTextField", values.catTextField);
  category->setAccessibleName(tr("Category"));
  auto* categories = new QComboBox(this);
  bindCategories(form_, *categories, "setCatButton", panel.setCatButton);
  auto* both = new QHBoxLayout;
  both->addWidget(category, 1);
  both->addWidget(categories);
  auto* keywords = new QLineEdit(this);
  form_.bind(*keywords, "keywordsTextField", values.keywordsTextField);
  keywords->setPlaceholderText(tr("Words, with a blank between them"));
  auto* priority = new QComboBox(this);
  addPriorities(*priority);
  form_.bindIndex(*priority, "priorityButton", values.priorityButton);
  auto* notes = new QLineEdit(this);
  form_.bind(*notes, "notesTextField", values.notesTextField);

  auto* fields = new QFormLayout;
  fields->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
  fields->addRow(tr("Category:"), both);
  fields->addRow(tr("Keywords:"), keywords);
  fields->addRow(tr("Priority:"), priority);
  fields->addRow(tr("Notes:"), notes);

  auto* column = new QVBoxLayout(this);
  column->addWidget(about_);
  column->addLayout(fields);
  column->addStretch();
  column->addLayout(makeButtons());
  resize(480, sizeHint().height());

  connect(categories, &QComboBox::activated, this, [this] {
    form_.take();
    panel_.chooseSetCat();
  });
}

QLayout* TagDialog::makeButtons() {
  const auto replace = [this] {
    form_.take();
    static_cast<void>(panel_.replaceTags());
  };
  const auto add = [this] {
    form_.take();
    static_cast<void>(panel_.addTags());
  };
  QLayout* buttons = makeFoot(
      {{"closeTagsButton", tr("Close")}},
      {{"replaceTagsButton", tr("Replace Tags"), replace}, {"addTagsButton", tr("Add Tags"), add}});
  footButton("replaceTagsButton").setToolTip(tr("The same, with blanks in front of a text kept"));
  footButton("addTagsButton")
      .setToolTip(tr("Gives these tags, and no others, to the selected emails"));
  return buttons;
}

void TagDialog::refresh() {
  form_.show();
  about_->setText(tr("Selected emails: %1. These tags take the place of those that they have; "
                     "without any, theirs are taken away.")
                      .arg(panel_.selectedRows.size()));
}

}  // namespace keldane
