#pragma once

#include <functional>
#include <map>

#include "desktop/form_binding.h"
#include "desktop/panel_view.h"

class QButtonGroup;
class QComboBox;
class QGridLayout;
class QLineEdit;
class QTabWidget;
class QTreeWidget;

namespace keldane {

class KeldaneController;

/// `settingsPanel`: the settings in their tabs. General, Accounts and Viewing are made here; the
/// others are views of their own, which come in by `addView` in the order of the tabs, and tables
/// that keep each change at once, by `addTable`.
class SettingsDialog : public PanelDialog {
  Q_DECLARE_TR_FUNCTIONS(SettingsDialog)

 public:
  SettingsDialog(KeldaneController& controller, QWidget* parent);
  void refresh() override;
  void controlChanged(const QString& control) override;

  /// A tab with a view whose controls `show` and `take` copy.
  void addView(QWidget* view, const QString& title, std::function<void()> show,
               std::function<void()> take);
  /// A table of this name, which `show` fills, and alone when only it has changed: what is typed
  /// elsewhere and not saved yet stays.
  void addTable(const QString& name, std::function<void()> show);
  /// The controls of all tabs become the form, as before each operation.
  void takeForm() const { form_.take(); }

 private:
  QWidget* makeGeneral();
  QWidget* makeAccounts();
  QWidget* makeViewing();
  QLayout* makeButtons();
  void fillDatabases();
  void fillAccounts();
  QWidget* makeChoice(const char* name, const QString& words, const QStringList& titles, int& value,
                      const std::function<void()>& chosen = {});
  QWidget* makeSortFields();
  void chooseFont(bool ofList);

  KeldaneController& controller_;
  FormBinding form_;
  QTabWidget* tabs_;
  QComboBox* databases_ = nullptr;
  QLineEdit* database_ = nullptr;
  QTreeWidget* accounts_ = nullptr;
  std::map<QString, std::function<void()>> tables_;
  bool filling_ = false;
};

}  // namespace keldane
