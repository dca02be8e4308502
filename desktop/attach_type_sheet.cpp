#include "desktop/attach_type_sheet.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QCoreApplication>

#include "app/panels/retrieve_sheet.h"
#include "desktop/qt_text.h"
#include "query/search_fields.h"

namespace keldane {
namespace {

constexpr const char* kChecks[kAttachTypes] = {"graphicsTypeCheck", "docsTypeCheck",
                                               "audioTypeCheck", "videoTypeCheck",
                                               "compressedTypeCheck"};

}  // namespace

AttachTypeSheet::AttachTypeSheet(RetrieveSheet& sheet, QWidget* parent)
    : PanelDialog("attchTypeSheet", tr("Attachment Types"), parent) {
  auto* column = new QVBoxLayout(this);
  for (std::size_t i = 0; i < kAttachTypes; ++i) {
    const AttachTypeGroup& group = kAttachTypeGroups[i];
    auto* check = new QCheckBox(
        tr(std::string(group.title).c_str()) + QStringLiteral(" - ") + qtText(group.extensions),
        this);
    form_.bind(*check, kChecks[i], sheet.form.typeCheck[i]);
    column->addWidget(check);
  }
  const auto choose = [this, &sheet] {
    form_.take();
    sheet.setAttchTypes();
  };
  column->addSpacing(6);
  column->addLayout(makeFoot(
      {}, {{"cancelAttchTypesButton", tr("Cancel")}, {"setAttchTypesButton", tr("OK"), choose}}));
  setMinimumWidth(420);
  cancelled = [&sheet] { sheet.cancelAttchTypes(); };
}

}  // namespace keldane
