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

Archiver* connected(Program& program, Opening opening) {
  Archiver* archiver = program.connected("", "", opening);
  if (archiver == nullptr) program.exitStatus = kExitFailed;
  return archiver;
}

void listSettings(bool json, Program& program) {
  Archiver* archiver = connected(program, Opening::ifThere);
  if (archiver == nullptr) return;
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  std::vector<std::vector<std::string>> rows;
  std::vector<std::vector<std::string>> ofTheWindow;
  for (const SettingKey& key : settingKeys()) {
    const std::string value = settingValue(archiver->settings(), key.name).value();
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
  Archiver* archiver = connected(program, Opening::ifThere);
  if (archiver == nullptr) return;
  const Result<std::string> value = settingValue(archiver->settings(), options.name);
  if (!value) {
    program.exitStatus = program.fail(value.error());
    return;
  }
  std::fputs((printable(*value) + "\n").c_str(), stdout);
}

void setSetting(const SettingsOptions& options, Program& program) {
  Archiver* archiver = connected(program, Opening::create);
  if (archiver == nullptr) return;
  const Result<void> put = setSettingValue(archiver->settings(), options.name, options.value,
                                           archiver->process().homePath);
  if (!put) {
    program.exitStatus = program.fail(put.error());
    return;
  }
  if (!program.tell(archiver->settings().savePreferences())) program.exitStatus = kExitFailed;
}

void saveCopy(Program& program) {
  const Result<std::string> target = program.archiver().settings().copySettings();
  if (!target) {
    program.exitStatus = program.fail("the settings could not be copied: " + target.error());
    return;
  }
  std::fputs((printable(*target) + "\n").c_str(), stdout);
}

void replaceCopy(const std::string& path, Program& program) {
  const Result<PlistDict> copy = Settings::readCopy(path);
  const Result<void> replaced =
      copy ? program.archiver().settings().replaceSettings(*copy) : Failure{copy.error()};
  if (!replaced) program.exitStatus = program.fail(replaced.error());
}

}  // namespace

Command settingsCommand(Program& program) {
  auto options = std::make_shared<SettingsOptions>();
  const CommandOption name = {
      .names = "NAME", .target = &options->name, .help = "Its name", .required = true};
  return {
      .name = "settings",
      .help = "The settings of the user and of the archive in use",
      .commands = {
          {.name = "list",
           .help = "Show them with their values and with what they accept",
           .options = {{"--json", &options->json, "Print one JSON object of names and values"}},
           .run = [options, &program] { listSettings(options->json, program); }},
          {.name = "get",
           .help = "Print the value of one",
           .options = {name},
           .run = [options, &program] { getSetting(*options, program); }},
          {.name = "set",
           .help = "Change one",
           .options = {name,
                       {.names = "VALUE",
                        .target = &options->value,
                        .help = "Its new value; `settings list` shows what is accepted",
                        .required = true}},
           .run = [options, &program] { setSetting(*options, program); }},
          {.name = "save-copy",
           .help = "Save a copy of the user's settings under the name of the database, and print "
                   "its path; it holds the passwords of the connections",
           .run = [&program] { saveCopy(program); }},
          {.name = "replace-copy",
           .help = "Replace the user's settings, connections included, by such a copy",
           .options =
               {{.names = "FILE", .target = &options->path, .help = "The copy", .required = true}},
           .run = [options, &program] { replaceCopy(options->path, program); }}}};
}

}  // namespace keldane
