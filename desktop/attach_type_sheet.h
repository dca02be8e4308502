#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

namespace keldane {

class RetrieveSheet;

/// `attchTypeSheet`: which kinds of attachments a search is for.
class AttachTypeSheet : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(AttachTypeSheet)

 public:
  AttachTypeSheet(RetrieveSheet& sheet, QWidget* parent);
  void refresh() override { form_.show(); }

 private:
  FormBinding form_;
};

}  // namespace keldane
