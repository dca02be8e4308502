#include "app/panels/sql_files.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

#include "app/panels/panel_progress.h"
#include "app/query_settings.h"
#include "base/text.h"
#include "output/output_file.h"
#include "output/sql_dump.h"
#include "output/sql_import.h"

namespace keldane {
namespace {

constexpr const char* kPanel = "IdPanel";
constexpr const char* kSqlErrorPrefix = "SQL error: ";
constexpr const char* kSaveTitle = "Enter SQL Filename";

std::string withoutBlanks(std::string text) {
  removeAll(text, " ");
  return text;
}

/// The ids of the list in the order shown.
std::vector<std::uint32_t> idsOf(const ResultTable& table) {
  std::vector<std::uint32_t> ids;
  for (std::size_t row = 0; row < table.emailRows.size(); ++row) {
    ids.push_back(table.emailRows[table.modelIndex(row)].emailID);
  }
  return ids;
}

/// An id of 0 would have the server choose another for the message, and not for what belongs to it.
std::uint32_t firstIdOf(const std::string& text) {
  return static_cast<std::uint32_t>(
      std::clamp(std::strtoll(text.c_str(), nullptr, 10), 1LL, 4294967295LL));
}

}  // namespace

void SqlFiles::gotID() {
  if (form.idTextField.empty()) {
    form.idTextField = "1";
    context_.ui.changed("idTextField");
  }
  if (form.dbNameTextField.empty()) return;
  modalCode_ = 1;
  context_.ui.endModal();
  context_.ui.closePanel(kPanel);
}

void SqlFiles::cancelID() {
  modalCode_ = 0;
  context_.ui.endModal();
  context_.ui.closePanel(kPanel);
}

bool SqlFiles::asksForId() {
  modalCode_ = 0;
  context_.ui.runModal(kPanel);
  return modalCode_ != 0;
}

void SqlFiles::fail(const std::string& title, const std::string& text) {
  context_.ui.alert({title, text, AlertStyle::critical, {"OK"}});
}

void SqlFiles::finish(const std::string& title, const std::string& path) {
  const std::string text = fmt::format("The data has been exported to the SQL file {}.", path);
  context_.host.notify("Done Exporting Email", text);
  context_.ui.alert({title, text});
}

ToolContext SqlFiles::toolContext(Progress& progress) {
  return {context_.tools, context_.archiver.connections().address(""),
          context_.environment.temporaryFolder(), progress};
}

bool SqlFiles::findsTool(const char* name, const std::string& what) {
  const FoundTool tool = findTool(context_.tools, name);
  if (!tool.path.empty()) return true;
  fail(what + " Failed",
       fmt::format("{} failed.  Couldn't find the {} utility.  {}\n", what, name, tool.found));
  return false;
}

void SqlFiles::exportSQL() {
  const std::string path = context_.ui.chooseSaveFile(
      {kSaveTitle, "This will export all of the email in the list to an SQL format text file.",
       "Filename:", "sql", "Export", ""});
  if (path.empty() || !asksForId()) return;
  if (!OutputFile(path).open()) {
    fail("Can't open file", "Couldn't open " + path);
    return;
  }
  Archiver& archiver = context_.archiver;
  SqlDumpRequest request;
  request.path = path;
  request.databaseName = withoutBlanks(form.dbNameTextField);
  request.firstId = firstIdOf(form.idTextField);
  request.hasRawSource = archiver.settings().archive.origState != 0;
  context_.ui.progressChanged(0, "");
  context_.progress.doProgressPanel("Exporting...");
  EndablePanelProgress progress(context_.progress, context_.ui);
  const Result<OutputReport> report = keldane::exportSQL(
      {archiver.session(), progress, sourceReading(archiver.settings().user).stripPlist},
      listOfIds(archiver.session(), idsOf(context_.table)), request);
  context_.progress.close();
  if (!report) {
    fail(report.error().starts_with(kSqlErrorPrefix) ? "SQL Error" : "Export Failed",
         report.error());
  } else if (!report->cancelled) {
    finish("Done exporting", path);
  }
}

void SqlFiles::importSQL() {
  if (!findsTool("mysql", "Import")) return;
  UserInterface& ui = context_.ui;
  FileChooser chooser;
  chooser.title = "Import Keldane SQL File";
  chooser.prompt = "Open";
  const std::vector<std::string> chosen = ui.chooseFiles(chooser);
  if (chosen.empty()) return;
  const std::string& path = chosen.front();
  const Result<SqlFile> file = inspectSqlFile(path);
  if (!file) {
    fail("Import Failed", file.error());
    return;
  }
  // The short words are what the user has always been asked.
  const int answer = ui.alert(
      {"Import SQL File", "Import SQL File", AlertStyle::informational, {"Import", "Cancel"}});
  if (answer == kSecondButton) return;
  context_.progress.doProgressPanel("Importing SQL...");
  PanelProgress progress(context_.progress);
  const SourceReading reading = sourceReading(context_.archiver.settings().user);
  const Result<void> imported = importArchive(toolContext(progress),
                                              {context_.archiver.session(), reading.stripPlist,
                                               [&reading] { return reading.declaredCharsets; }},
                                              path);
  context_.progress.close();
  if (imported) {
    ui.alert({"Done Importing",
              fmt::format("The Keldane SQL file, {}, has been imported into the {} database.", path,
                          file->databaseName)});
  } else {
    fail("Import Failed", imported.error());
  }
}

void SqlFiles::backupSQL() {
  if (!findsTool("mysqldump", "Export")) return;
  UserInterface& ui = context_.ui;
  const std::string name =
      withoutBlanks(std::string(lastPathComponent(context_.archiver.database().dbPath)));
  const std::string path =
      ui.chooseSaveFile({kSaveTitle, "", "Filename:", "sql", "Backup", name + ".sql"});
  if (path.empty()) return;
  const int answer =
      ui.alert({"Keldane Pro will be unresponsive",
                "Keldane Pro executes the mysqldump utility to create the SQL backup. While "
                "mysqldump is running, Keldane Pro will be unresponsive.",
                AlertStyle::informational,
                {"OK", "Cancel"}});
  if (answer == kSecondButton) return;
  context_.progress.doProgressPanel("Exporting SQL...");
  PanelProgress progress(context_.progress);
  const Result<void> written = keldane::backupSQL(toolContext(progress), name, path);
  context_.progress.close();
  if (written) {
    finish("Done Exporting", path);
  } else {
    fail("Export Failed", written.error());
  }
}

}  // namespace keldane
