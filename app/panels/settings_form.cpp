#include "app/panels/settings_form.h"

#include <cstddef>

#include "base/text.h"

namespace keldane {
namespace {

template <typename Values>
struct Check {
  bool SettingsForm::*control;
  int Values::*value;
};

template <typename Values>
struct Choice {
  int SettingsForm::*control;
  int Values::*value;
};

using Form = SettingsForm;

constexpr Check<ArchiveSettings> kArchiveChecks[] = {
    {&Form::trashCheck, &ArchiveSettings::trashState},
    {&Form::junkCheck, &ArchiveSettings::junkState},
    {&Form::largeAttachCheck, &ArchiveSettings::largeAttachState},
    {&Form::updatesCheck, &ArchiveSettings::updatesState},
    {&Form::importFolderCheck, &ArchiveSettings::importFolderState},
    {&Form::deleteFolderCheck, &ArchiveSettings::deleteFolderState},
    {&Form::skipDupsCheck, &ArchiveSettings::skipDupsState},
    {&Form::limitSearchCheck, &ArchiveSettings::limitSearchState},
};
constexpr Check<UserSettings> kUserChecks[] = {
    {&Form::launchAttachCheck, &UserSettings::launchAttachments},
    {&Form::keepDifferingCheck, &UserSettings::keepDiffering},
    {&Form::declaredCharsetsCheck, &UserSettings::declaredCharsets},
    {&Form::showOnStartupCheck, &UserSettings::showOnStartupState},
    {&Form::everyHourCheck, &UserSettings::hoursState},
    {&Form::leaveLogCheck, &UserSettings::leaveLogState},
};
constexpr Choice<ArchiveSettings> kArchiveChoices[] = {
    {&Form::selectAcctsMboxMatrix, &ArchiveSettings::mailboxesState},
    {&Form::selectEmailAppMatrix, &ArchiveSettings::postbox},
    {&Form::selectAppearanceMatrix, &ArchiveSettings::appearanceState},
};
constexpr Choice<UserSettings> kUserChoices[] = {
    {&Form::dateFormats, &UserSettings::dateFormat},
    {&Form::separators, &UserSettings::separator},
    {&Form::sortOrderMatrix, &UserSettings::sortOrder},
    {&Form::sortFieldMatrixRow, &UserSettings::sortFieldRow},
    {&Form::sortFieldMatrixCol, &UserSettings::sortFieldCol},
};

}  // namespace

void showSettings(const Settings& settings, SettingsForm& form) {
  const ArchiveSettings& archive = settings.archive;
  const UserSettings& user = settings.user;
  for (const auto& [control, value] : kArchiveChecks) form.*control = archive.*value != 0;
  for (const auto& [control, value] : kUserChecks) form.*control = user.*value != 0;
  for (const auto& [control, value] : kArchiveChoices) form.*control = archive.*value;
  for (const auto& [control, value] : kUserChoices) form.*control = user.*value;
  showArchiveTexts(archive, form);
  form.largeAttachCheckEnabled = archive.attachState != 0;
  form.hoursTextField = form.hoursStepper = std::to_string(user.hoursStep);
  form.schedTime = user.schedTime;
  for (std::size_t i = 0; i < user.scheddays.size(); ++i) {
    form.schedChecks.at(i) = user.scheddays.at(i) != 0;
  }
  form.databasesPullDown = {kChooseDatabaseTitle};
  form.databasesPullDown.insert(form.databasesPullDown.end(), user.databaseList.begin(),
                                user.databaseList.end());
}

void showArchiveTexts(const ArchiveSettings& archive, SettingsForm& form) {
  form.attachSizeTextField = archive.attachSize;
  form.limitSearchTextField = archive.limitSearchSize;
  form.importFolderTextField = archive.importFolderPath;
  form.selectAcctsMboxMatrix = archive.mailboxesState != 0 ? 1 : 0;
  if (archive.importFolderPath.empty()) form.importFolderCheck = false;
}

void readControls(const SettingsForm& form, Settings& settings) {
  ArchiveSettings& archive = settings.archive;
  UserSettings& user = settings.user;
  for (const auto& [control, value] : kArchiveChecks) archive.*value = form.*control ? 1 : 0;
  for (const auto& [control, value] : kUserChecks) user.*value = form.*control ? 1 : 0;
  for (const auto& [control, value] : kArchiveChoices) archive.*value = form.*control;
  for (const auto& [control, value] : kUserChoices) user.*value = form.*control;
  archive.attachSize = form.attachSizeTextField;
  archive.limitSearchSize = form.limitSearchTextField;
  archive.importFolderPath = form.importFolderTextField;
  user.hoursStep = leadingInt(form.hoursTextField);
  user.schedTime = form.schedTime;
  for (std::size_t i = 0; i < user.scheddays.size(); ++i) {
    user.scheddays.at(i) = form.schedChecks.at(i) ? 1 : 0;
  }
}

}  // namespace keldane
