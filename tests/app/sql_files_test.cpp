#include <filesystem>

#include "base/files.h"
#include "tests/app/controller_rig.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::string_literals;

/// The menu's SQL operations with tools that only write down what they are called with.
class SqlFilesTest : public ControllerRig {
 protected:
  SqlFilesTest() {
    start();
    controller->connectPanel().doConnect();
    std::filesystem::create_directories(environment.temporary);
    tools.answer = [this](const ToolCall& call) -> Result<ToolOutcome> {
      if (call.program != "/usr/bin/which") return toolEnds;
      return ToolOutcome{
          0,
          hasTools && call.arguments[0][0] != '/' ? "/bin/" + call.arguments[0] + "\n" : "none\n",
          ""};
    };
    ui.onModal = [this](std::string_view) { answerPanel(); };
    ui.calls.clear();
    session->calls.clear();
    host.calls.clear();
  }
  SqlFiles& panel() { return controller->sqlFiles(); }
  std::string path = folder / "out.sql";
  bool hasTools = true;
  ToolOutcome toolEnds;
  std::function<void()> answerPanel = [this] {
    panel().form = {"", ""};
    panel().gotID();
    EXPECT_EQ(panel().form.idTextField, "1");
    panel().form = {"1000", "my mail"};
    panel().gotID();
  };
};

TEST_F(SqlFilesTest, AnExportTakesTheListAsShownUnderNewIds) {
  for (const std::uint32_t id : {7U, 9U}) {
    controller->resultTable().emailRows.push_back({});
    controller->resultTable().emailRows.back().emailID = id;
  }
  controller->resultTable().reverseList = true;
  for (const auto& [id, from] : {std::pair("7", "Ann"), std::pair("9", "Eve")}) {
    session->answerOn("*FROM email WHERE id="s + id,
                      {{"2024-01-05 10:20:30", from, "Bob", "s", "b", "In", "m", "0", "", "", ""}});
  }
  ui.savedFiles = {path};
  panel().exportSQL();
  EXPECT_THAT(ui.calls,
              testing::IsSupersetOf({"save [Enter SQL Filename] Export"s, "modal IdPanel"s}));
  EXPECT_THAT(ui.alertLines(),
              ElementsAre("alert [Done exporting] The data has been exported to the SQL file " +
                          path + "."));
  EXPECT_THAT(
      host.calls,
      ElementsAre("notify [Done Exporting Email] The data has been exported to the SQL file " +
                  path + "."));
  const std::string text = *readFile(path);
  EXPECT_EQ(text.find("CREATE DATABASE IF NOT EXISTS mymail;\nUSE mymail;\n"), 0U);
  EXPECT_THAT(text, HasSubstr("INSERT INTO email VALUES(1000,'Eve'"));
  EXPECT_THAT(text, HasSubstr("INSERT INTO email VALUES(1001,'Ann'"));
}

TEST_F(SqlFilesTest, AnExportThatCannotBeIsTold) {
  struct Row {
    const char* name;
    std::string path;
    std::function<void()> panel;
    std::vector<std::string> alerts;
  };
  const Row rows[] = {
      {"no file", "", answerPanel, {}},
      {"the panel cancelled", path, [this] { panel().cancelID(); }, {}},
      {"a folder that is not there",
       folder / "no/out.sql",
       answerPanel,
       {"alert critical [Can't open file] Couldn't open " + folder / "no/out.sql"}},
      {"a name that ends the statement",
       path,
       [this] {
         panel().form.dbNameTextField = "a;b";
         panel().gotID();
       },
       {"alert critical [Export Failed] \"a;b\" cannot be the name of a database in an SQL file: "
        "use letters, digits, _ and $"}},
      {"a query that fails", path, answerPanel, {"alert critical [SQL Error] SQL error: gone"}},
  };
  controller->resultTable().emailRows.resize(1);
  session->failOn("*FROM email WHERE id=*", "gone");
  for (const Row& row : rows) {
    ui.calls.clear();
    ui.savedFiles = {row.path};
    ui.onModal = [&](std::string_view) { row.panel(); };
    panel().exportSQL();
    EXPECT_EQ(ui.alertLines(), row.alerts) << row.name;
  }
  EXPECT_THAT(*readFile(path), HasSubstr("SET CHARACTER SET utf8;\n")) << "what was written stays";
  EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(SqlFilesTest, AnImportAsksAndTellsHowItWent) {
  const std::string file = folder.write("in.sql", "CREATE DATABASE x;\nUSE mail;\nDROP");
  const std::string asks = "alert [Import SQL File] Import SQL File";
  struct Row {
    const char* name;
    std::string path;
    int answer;
    ToolOutcome ends;
    std::vector<std::string> alerts;
  };
  const Row rows[] = {
      {"cancelled", file, kSecondButton, {}, {asks}},
      {"imported",
       file,
       kFirstButton,
       {},
       {asks, "alert [Done Importing] The Keldane SQL file, " + file +
                  ", has been imported into the  mail database."}},
      {"refused",
       file,
       kFirstButton,
       {1, "", "ERROR 1045 (28000): Access denied"},
       {asks, "alert critical [Import Failed] mysql failed: ERROR 1045 (28000): Access denied"}},
      {"no dump",
       folder.write("x.txt", std::string(5120, 'x') + "\nUSE mail;\n"),
       kFirstButton,
       {},
       {"alert critical [Import Failed] This is not a Keldane SQL file."}},
  };
  for (const Row& row : rows) {
    ui.calls.clear();
    ui.chosenFiles = {{row.path}};
    ui.alertAnswers = {row.answer};
    toolEnds = row.ends;
    panel().importSQL();
    EXPECT_EQ(ui.alertLines(), row.alerts) << row.name;
  }
}

TEST_F(SqlFilesTest, ABackupIsOfTheDatabaseInUse) {
  archiver().database().dbPath = "old/my mail";
  ui.savedFiles = {path};
  panel().backupSQL();
  ASSERT_EQ(ui.saveChoosers.size(), 1U);
  EXPECT_EQ(ui.saveChoosers[0].name, "mymail.sql");
  EXPECT_EQ(ui.saveChoosers[0].prompt, "Backup");
  EXPECT_THAT(tools.lines().back(), HasSubstr(" --databases mymail"));
  EXPECT_THAT(ui.alertLines(),
              ElementsAre(HasSubstr("alert [Keldane Pro will be unresponsive] Keldane Pro executes "
                                    "the mysqldump utility"),
                          "alert [Done Exporting] The data has been exported to the SQL file " +
                              path + "."));
  toolEnds = {2, "", "mysqldump: Got error: 1044"};
  ui.savedFiles = {folder / "no.sql"};
  panel().backupSQL();
  EXPECT_THAT(ui.alertLines().back(), HasSubstr("[Export Failed] mysqldump failed: "));
  EXPECT_FALSE(fileExists(folder / "no.sql"));
}

TEST_F(SqlFilesTest, AMissingToolIsNamedBeforeAnythingIsAsked) {
  hasTools = false;
  panel().importSQL();
  panel().backupSQL();
  EXPECT_THAT(ui.calls, ElementsAre("alert critical [Import Failed] Import failed.  Couldn't find "
                                    "the mysql utility.  none\\n",
                                    "alert critical [Export Failed] Export failed.  Couldn't find "
                                    "the mysqldump utility.  none\\n"));
}

}  // namespace
}  // namespace keldane
