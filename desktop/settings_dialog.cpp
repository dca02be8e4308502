#include "desktop/settings_dialog.h"

#include <utility>

#include <QBoxLayout>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleValidator>
#include <QFontDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTreeWidget>

#include "app/keldane_controller.h"
#include "desktop/folders_view.h"
#include "desktop/fonts.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

/// Places of the sort fields in their matrix, as the settings have them.
struct SortField {
  int row;
  int column;
  const char* title;
};
constexpr SortField kSortFields[] = {{1, 0, QT_TRANSLATE_NOOP("SettingsDialog", "Date")},
                                     {1, 1, QT_TRANSLATE_NOOP("SettingsDialog", "Subject")},
                                     {1, 2, QT_TRANSLATE_NOOP("SettingsDialog", "Mailbox")},
                                     {0, 0, QT_TRANSLATE_NOOP("SettingsDialog", "ID")},
                                     {0, 1, QT_TRANSLATE_NOOP("SettingsDialog", "From")}};

/// A check box and the field behind it, which takes something while the box is on.
QLayout* withField(QCheckBox& box, QLineEdit& field, const QString& words) {
  constexpr int kFieldWidth = 90;
  field.setAccessibleName(words);
  field.setMaximumWidth(kFieldWidth);
  field.setEnabled(box.isChecked());
  QObject::connect(&box, &QCheckBox::toggled, &field, &QWidget::setEnabled);
  auto* row = new QHBoxLayout;
  row->addWidget(&box);
  row->addWidget(&field);
  row->addStretch();
  return row;
}

}  // namespace

SettingsDialog::SettingsDialog(KeldaneController& controller, QWidget* parent)
    : PanelDialog("settingsPanel", tr("Settings"), parent),
      controller_(controller),
      tabs_(new QTabWidget(this)) {
  nameControl(*tabs_, "settingsToolbar", tr("Tabs"));
  tabs_->addTab(makeGeneral(), tr("General"));
  tabs_->addTab(makeAccounts(), tr("Accounts"));
  tabs_->addTab(makeViewing(), tr("Viewing"));
  auto* column = new QVBoxLayout(this);
  column->addWidget(tabs_, 1);
  column->addLayout(makeButtons());
  resize(640, 620);
  connect(tabs_, &QTabWidget::currentChanged, this, [this](int tab) {
    if (filling_) return;
    controller_.settingsPanel().form.settingsToolbar = tab;
    controller_.settingsPanel().doPrefPanel();
  });
  cancelled = [this] { controller_.settingsPanel().cancelPrefs(); };
}

void SettingsDialog::addView(QWidget* view, const QString& title, std::function<void()> show,
                             std::function<void()> take) {
  const bool before = std::exchange(filling_, true);
  tabs_->addTab(view, title);
  filling_ = before;
  form_.bind(std::move(show), std::move(take));
}

void SettingsDialog::addTable(const QString& name, std::function<void()> show) {
  form_.bind(show, {});
  tables_[name] = std::move(show);
}

void SettingsDialog::controlChanged(const QString& control) {
  const auto table = tables_.find(control);
  if (table != tables_.end()) {
    table->second();
  } else {
    PanelDialog::controlChanged(control);
  }
}

QWidget* SettingsDialog::makeChoice(const char* name, const QString& words,
                                    const QStringList& titles, int& value,
                                    const std::function<void()>& chosen) {
  auto* part = new QWidget(this);
  nameControl(*part, name, words);
  auto* row = new QHBoxLayout(part);
  row->setContentsMargins(0, 0, 0, 0);
  auto* group = new QButtonGroup(part);
  for (int i = 0; i < titles.size(); ++i) {
    auto* button = new QRadioButton(titles[i], part);
    button->setObjectName(QStringLiteral("%1-%2").arg(QLatin1String(name)).arg(i));
    button->setAccessibleDescription(words);
    group->addButton(button, i);
    row->addWidget(button);
  }
  row->addStretch();
  form_.bind(
      [group, &value] {
        if (QAbstractButton* button = group->button(value)) button->setChecked(true);
      },
      [group, &value] {
        if (group->checkedId() >= 0) value = group->checkedId();
      });
  if (chosen) {
    connect(group, &QButtonGroup::idClicked, this, [this, chosen] {
      form_.take();
      chosen();
    });
  }
  return part;
}

QWidget* SettingsDialog::makeGeneral() {
  SettingsForm& values = controller_.settingsPanel().form;
  auto* view = new QWidget(this);
  view->setObjectName("generalView");
  auto* form = new QFormLayout(view);
  database_ = new QLineEdit(view);
  form_.bind(*database_, "dbPath", controller_.database().dbPath);
  databases_ = new QComboBox(view);
  nameControl(*databases_, "databasesPullDown", tr("Databases used before"));
  connect(databases_, &QComboBox::activated, this, [this](int row) {
    const QString title = databases_->itemData(row).toString();
    if (row > 0) controller_.settingsPanel().chooseDatabase(plainText(title));
  });
  form->addRow(tr("Database:"), database_);
  form->addRow(QString(), databases_);

  const auto check = [&](const QString& words, const char* name, bool& value) {
    auto* box = new QCheckBox(words, view);
    form_.bind(*box, name, value);
    form->addRow(QString(), box);
  };
  check(tr("Skip messages that are stored already, without noting where they were seen last"),
        "skipDupsCheck", values.skipDupsCheck);
  check(tr("Store what seems a duplicate and differs in its content"), "keepDifferingCheck",
        values.keepDifferingCheck);
  check(tr("Read each part in the charset that it declares"), "declaredCharsetsCheck",
        values.declaredCharsetsCheck);
  auto* large = new QCheckBox(tr("Leave out large attachments, above this many MB:"), view);
  form_.bind(*large, "largeAttachCheck", values.largeAttachCheck);
  auto* size = new QLineEdit(view);
  form_.bind(*size, "attachSizeTextField", values.attachSizeTextField);
  auto* megabytes = new QDoubleValidator(0, 1e6, 3, size);
  // As a run reads it, whatever the language.
  megabytes->setLocale(QLocale::c());
  size->setValidator(megabytes);
  form_.bind([large, &values] { large->setEnabled(values.largeAttachCheckEnabled); }, {});
  form->addRow(QString(), withField(*large, *size, tr("Largest attachment in MB")));
  auto* limited = new QCheckBox(tr("At most this many emails:"), view);
  form_.bind(*limited, "limitSearchCheck", values.limitSearchCheck);
  auto* most = new QLineEdit(view);
  form_.bind(*most, "limitSearchTextField", values.limitSearchTextField);
  most->setValidator(new QIntValidator(1, 1000000000, most));
  form->addRow(tr("Searches:"), withField(*limited, *most, tr("Most emails of a search")));
  form->addRow(tr("Appearance:"), makeChoice("selectAppearanceMatrix", tr("Appearance"),
                                             {tr("As the system"), tr("Light"), tr("Dark")},
                                             values.selectAppearanceMatrix));
  check(tr("Check for updates at start"), "updatesCheck", values.updatesCheck);
  check(tr("Show the getting-started document at start"), "showOnStartupCheck",
        values.showOnStartupCheck);
  return view;
}

QWidget* SettingsDialog::makeAccounts() {
  SettingsForm& values = controller_.settingsPanel().form;
  SourceChooser& chooser = controller_.sourceChooser();
  auto* view = new QWidget(this);
  view->setObjectName("accountsView");
  auto* column = new QVBoxLayout(view);
  auto* form = new QFormLayout;
  form->addRow(
      tr("Mail application:"),
      makeChoice("selectEmailAppMatrix", tr("Mail application"), {tr("Apple Mail"), tr("Postbox")},
                 values.selectEmailAppMatrix, [&chooser] { chooser.selectEmailApp(); }));
  form->addRow(
      tr("Choose by:"),
      makeChoice("selectAcctsMboxMatrix", tr("Choose by"), {tr("Accounts"), tr("Mailboxes")},
                 values.selectAcctsMboxMatrix, [&chooser] { chooser.selectMailboxes(); }));
  column->addLayout(form);

  accounts_ = new QTreeWidget(view);
  nameControl(*accounts_, "selectAcctsTableView", tr("Accounts or mailboxes to archive"));
  accounts_->setHeaderHidden(true);
  accounts_->setRootIsDecorated(false);
  accounts_->setUniformRowHeights(true);
  connect(accounts_, &QTreeWidget::itemChanged, this, [this, &chooser](QTreeWidgetItem* item) {
    if (filling_) return;
    form_.take();
    chooser.didClickAcctCheck(static_cast<std::size_t>(accounts_->indexOfTopLevelItem(item)));
  });
  column->addWidget(accounts_, 1);

  auto* all = new QPushButton(tr("Check All"), view);
  auto* none = new QPushButton(tr("Uncheck All"), view);
  nameControl(*all, "checkAllAcctsButton");
  nameControl(*none, "uncheckAllAcctsButton");
  connect(all, &QPushButton::clicked, this, [&chooser] { chooser.checkAllAccts(); });
  connect(none, &QPushButton::clicked, this, [&chooser] { chooser.uncheckAllAccts(); });
  auto* buttons = new QHBoxLayout;
  const auto check = [&](const QString& words, const char* name, bool& value, QBoxLayout* into) {
    auto* box = new QCheckBox(words, view);
    form_.bind(*box, name, value);
    into->addWidget(box);
    return box;
  };
  buttons->addWidget(all);
  buttons->addWidget(none);
  buttons->addStretch();
  QCheckBox* trash = check(tr("Trash too"), "trashCheck", values.trashCheck, buttons);
  QCheckBox* junk = check(tr("Junk too"), "junkCheck", values.junkCheck, buttons);
  form_.bind(
      [trash, junk, &values] {
        trash->setEnabled(values.trashCheckEnabled);
        junk->setEnabled(values.junkCheckEnabled);
      },
      {});
  column->addLayout(buttons);

  auto* folders = new FoldersView(controller_.folderTable(), view);
  addTable("foldersTableView", [folders] { folders->refresh(); });
  column->addWidget(folders, 1);

  auto* folder = new QHBoxLayout;
  check(tr("Archive this folder too:"), "importFolderCheck", values.importFolderCheck, folder);
  auto* path = new QLineEdit(view);
  form_.bind(*path, "importFolderTextField", values.importFolderTextField);
  path->setAccessibleName(tr("Import folder"));
  auto* choose = new QPushButton(tr("Choose..."), view);
  nameControl(*choose, "openImportFolderPathButton");
  connect(choose, &QPushButton::clicked, this, [this] {
    form_.take();
    controller_.settingsPanel().openImportFolderPath();
  });
  path->setToolTip(tr("A run reads its mail files after all others"));
  folder->addWidget(path, 1);
  folder->addWidget(choose);
  column->addLayout(folder);
  check(tr("Delete the folder's files once they are archived"), "deleteFolderCheck",
        values.deleteFolderCheck, column)
      ->setToolTip(tr("Only files whose messages are all safely in the archive"));
  return view;
}

QWidget* SettingsDialog::makeSortFields() {
  SettingsForm& values = controller_.settingsPanel().form;
  auto* menu = new QComboBox(this);
  for (const SortField& field : kSortFields) menu->addItem(tr(field.title));
  form_.bind(
      [menu, &values] {
        for (int i = 0; i < menu->count(); ++i) {
          const SortField& field = kSortFields[i];
          if (field.row == values.sortFieldMatrixRow && field.column == values.sortFieldMatrixCol) {
            menu->setCurrentIndex(i);
          }
        }
      },
      [menu, &values] {
        const SortField& field = kSortFields[std::max(0, menu->currentIndex())];
        values.sortFieldMatrixRow = field.row;
        values.sortFieldMatrixCol = field.column;
      });
  nameControl(*menu, "sortFieldMatrix");
  return menu;
}

QWidget* SettingsDialog::makeViewing() {
  SettingsForm& values = controller_.settingsPanel().form;
  auto* view = new QWidget(this);
  view->setObjectName("viewingView");
  auto* form = new QFormLayout(view);
  form->addRow(tr("Dates:"), makeChoice("dateFormats", tr("Dates"),
                                        {tr("Year first"), tr("Month first"), tr("Day first")},
                                        values.dateFormats));
  form->addRow(tr("Separator:"),
               makeChoice("separators", tr("Separator"), {"-", "/", "."}, values.separators));
  form->addRow(tr("Sort searches by:"), makeSortFields());
  form->addRow(tr("Order:"),
               makeChoice("sortOrderMatrix", tr("Order"), {tr("Ascending"), tr("Descending")},
                          values.sortOrderMatrix));
  auto* launch = new QCheckBox(tr("Open attachments at a click, without asking"), view);
  form_.bind(*launch, "launchAttachCheck", values.launchAttachCheck);
  form->addRow(tr("Attachments:"), launch);
  auto* fonts = new QHBoxLayout;
  for (const bool ofList : {true, false}) {
    auto* button = new QPushButton(ofList ? tr("List Font...") : tr("Message Font..."), view);
    nameControl(*button, ofList ? "setListFontButton" : "setBodyFontButton");
    connect(button, &QPushButton::clicked, this, [this, ofList] { chooseFont(ofList); });
    fonts->addWidget(button);
  }
  fonts->addStretch();
  form->addRow(tr("Fonts:"), fonts);
  return view;
}

void SettingsDialog::chooseFont(bool ofList) {
  UserSettings& user = controller_.settings().user;
  FontSetting& setting = ofList ? user.listFont : user.bodyFont;
  bool chosen = false;
  const QFont font = QFontDialog::getFont(&chosen, fontOf(setting), this);
  if (!chosen) return;
  setting = {plainText(font.family()), font.pointSizeF()};
  form_.take();
  controller_.settingsPanel().savePreferences();
  controller_.settingsPanel().refresh();
}

QLayout* SettingsDialog::makeButtons() {
  const auto save = [this] {
    form_.take();
    controller_.settingsPanel().savePrefButton();
  };
  return makeFoot({}, {{"cancelPrefsButton", tr("Cancel")}, {"savePrefButton", tr("Save"), save}});
}

void SettingsDialog::fillDatabases() {
  databases_->clear();
  for (const std::string& title : controller_.settingsPanel().form.databasesPullDown) {
    const bool none = title == kChooseDatabaseTitle;
    databases_->addItem(none ? tr("Choose database...") : messageLine(title));
    databases_->setItemData(databases_->count() - 1, qtText(title));
  }
}

void SettingsDialog::fillAccounts() {
  accounts_->clear();
  for (const AcctsRow& row : controller_.sources().shownRows()) {
    auto* item = new QTreeWidgetItem(accounts_, {messageLine(row.acctDesc)});
    item->setCheckState(0, row.acctCheck ? Qt::Checked : Qt::Unchecked);
  }
}

void SettingsDialog::refresh() {
  filling_ = true;
  fillDatabases();
  fillAccounts();
  form_.show();
  tabs_->setCurrentIndex(controller_.settingsPanel().form.settingsToolbar);
  const SettingsWindow& shape = controller_.settingsPanel().window;
  const QSize least(shape.minimumWidth, shape.minimumHeight);
  setMinimumSize(least.isEmpty() ? QSize(0, 0) : least.expandedTo(minimumSizeHint()));
  filling_ = false;
}

}  // namespace keldane
