#pragma once

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QComboBox;
class QGroupBox;
class QPushButton;

namespace keldane {

class KeldaneController;

/// `retrievePanel`: the search form.
class RetrieveDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(RetrieveDialog)

 public:
  RetrieveDialog(KeldaneController& controller, QWidget* parent);
  void refresh() override;

 private:
  QWidget* makePhrase();
  QWidget* makeRows();
  QWidget* makeDates();
  QWidget* makeAttachments();
  QWidget* makeTags();
  QLayout* makeButtons();
  QComboBox* makeOperator(const char* name, std::string& value, const QString& words);
  QPushButton* makeButton(const QString& words, const char* name, std::function<void()> run);
  void openMenu(const std::vector<std::string>& items, QWidget* below,
                const std::function<void(const std::string& item)>& choose);

  KeldaneController& controller_;
  FormBinding form_;
  QComboBox* category_ = nullptr;
  QPushButton* savedSearches_ = nullptr;
};

}  // namespace keldane
