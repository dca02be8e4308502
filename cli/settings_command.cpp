#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/settings_keys.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

struct SettingsOptions {
  std::string name;
  std::string value;
  std::string path;
  bool json = false;
};

KeldaneController* connected(Program& program, Opening opening) {
  KeldaneController* controller = program.connected("", "", opening);
  if (controller == nullptr) program.exitStatus = kExitFailed;
  return controller;
}

void listSettings(bool json, Program& program) {
  KeldaneController* controller = connected(program, Opening::ifThere);
  if (controller == nullptr) return;
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  std::vector<std::vector<std::string>> rows;
  std::vector<std::vector<std::string>> ofTheWindow;
  for (const SettingKey& key : settingKeys()) {
    const std::string value = settingValue(controller->settings(), key.name).value();
    object[key.name] = value;
    (key.windowOnly ? ofTheWindow : rows)
        .push_back({key.name, value, fmt::format("{} ({})", key.meaning, key.accepts)});
  }
  if (json) {
    printJson(object);
    return;
  }
  rows.push_back({"", "", ""});
  rows.push_back({"In the window only:", "", ""});
  rows.insert(rows.end(), ofTheWindow.begin(), ofTheWindow.end());
  const TableColumn meaning{.title = "MEANING", .wraps = true};
  std::fputs(formatTable({{"NAME", false, 0, true}, {"VALUE", false, 0, true}, meaning}, rows,
                         outputWidth())
                 .c_str(),
             stdout);
}

void getSetting(const SettingsOptions& options, Program& program) {
  KeldaneController* controller = connected(program, Opening::ifThere);
  if (controller == nullptr) return;
  const Result<std::string> value = settingValue(controller->settings(), options.name);
  if (!value) {
    program.exitStatus = program.fail(value.error());
    return;
  }
  std::fputs((printable(*value) + "\n").c_str(), stdout);
}

void setSetting(const SettingsOptions& options, Program& program) {
  KeldaneController* controller = connected(program, Opening::create);
  if (controller == nullptr) return;
  const Result<void> put = setSettingValue(controller->settings(), options.name, options.value,
                                           controller->process().homePath);
  if (!put) {
    program.exitStatus = program.fail(put.error());
    return;
  }
  if (!controller->settings().savePreferences()) program.exitStatus = kExitFailed;
}

void saveCopy(Program& program) {
  const Result<std::string> target = program.controller().settings().copySettings();
  if (!target) {
    program.exitStatus = program.fail("the settings could not be copied: " + target.error());
    return;
  }
  std::fputs((printable(*target) + "\n").c_str(), stdout);
}

void replaceCopy(const std::string& path, Program& program) {
  const Result<void> replaced = program.controller().settings().replaceSettingsWith(path);
  if (!replaced) program.exitStatus = program.fail(replaced.error());
}

}  // namespace

void addSettingsCommand(CLI::App& app, Program& program) {
  CLI::App* command =
      app.add_subcommand("settings", "The settings of the user and of the archive in use");
  command->require_subcommand(1);

  auto options = std::make_shared<SettingsOptions>();
  CLI::App* list =
      command->add_subcommand("list", "Show them with their values and with what they accept");
  list->add_flag("--json", options->json, "Print one JSON object of names and values");
  list->callback([options, &program] { listSettings(options->json, program); });

  CLI::App* get = command->add_subcommand("get", "Print the value of one");
  get->add_option("NAME", options->name, "Its name")->required();
  get->callback([options, &program] { getSetting(*options, program); });

  CLI::App* set = command->add_subcommand("set", "Change one");
  set->add_option("NAME", options->name, "Its name")->required();
  set->add_option("VALUE", options->value, "Its new value; `settings list` shows what is accepted")
      ->required();
  set->callback([options, &program] { setSetting(*options, program); });

  CLI::App* copy = command->add_subcommand(
      "save-copy",
      "Save a copy of the user's settings under the name of the database, and print its path; it "
      "holds the passwords of the connections");
  copy->callback([&program] { saveCopy(program); });

  CLI::App* replace = command->add_subcommand(
      "replace-copy", "Replace the user's settings, connections included, by such a copy");
  replace->add_option("FILE", options->path, "The copy")->required();
  replace->callback([options, &program] { replaceCopy(options->path, program); });
}

}  // namespace keldane
