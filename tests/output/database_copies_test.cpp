#include <algorithm>
#include <map>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "archive/existing_archive.h"
#include "base/files.h"
#include "output/checked_backup.h"
#include "output/database_tools.h"
#include "output/sql_dump.h"
#include "output/sql_import.h"
#include "tests/output/output_rig.h"
#include "tests/support/recording_tool_runner.h"

namespace keldane {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// Dumps, imports, backups and restores with the real tools, on the test server.
class DatabaseCopies : public OutputRig {
 protected:
  DatabaseCopies() {
    addMessage(3, "2024-01-05 10:20:30", "O'Ann \\ \"x\"", "\xC3\xA9; DROP TABLE email;\nUSE x;",
               "line\r\n\ttab \\' end \xF0\x9F\x8C\xBB");
    run("UPDATE email SET attachNames='a\\\\b\"c',numAttach=1 WHERE id=3");
    addSource(3, "9\nSubject: x\nFrom: 'q'\n\nbody \\ \n");
    addAttachment(3, "text/x', 1); DROP TABLE email; -- ", "b'c.bin",
                  std::string("\0\xFF'\\\"", 5));
    addAttachment(3, "text/plain", "empty.txt", "");
    run("INSERT INTO tags VALUES(3,'Work','',0,'it''s')");
    addMessage(4, "2024-01-06 10:20:30", "Bob", "s", "b");
    run("CREATE TABLE `odd table` (id INT, v VARCHAR(10) NULL)");
    run("INSERT INTO `odd table` VALUES(1,NULL),(2,'')");
  }
  std::string value(const std::string& sql) { return TestServer::shared().value(sql); }
  /// The rows of a table, each as a text.
  std::vector<std::string> rowsOf(const std::string& sql) {
    const auto rows = queryRows(*session, sql);
    EXPECT_TRUE(rows) << rows.error();
    std::vector<std::string> found;
    while (rows && (*rows)->next()) {
      std::string row;
      for (std::size_t i = 0; i < (*rows)->fieldCount(); ++i) {
        row += std::string((*rows)->cell(i).value_or("NULL")) + "|";
      }
      found.push_back(row);
    }
    return found;
  }
  bool exists(const std::string& name) {
    return value("SELECT COUNT(*) FROM information_schema.schemata WHERE schema_name='" + name +
                 "'") == "1";
  }
  ToolContext toolContext() {
    return {tools, TestServer::shared().address(), folder.path(), progress};
  }
  std::size_t loginFiles() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      count += entry.path().filename().string().starts_with("keldane_login") ? 1 : 0;
    }
    return count;
  }

  ProcessToolRunner tools;
};

/// What needs a whole dump. MariaDB's tool asks the server for a column that older ones of another
/// make do not have: that is told as such, and the rest is skipped aloud.
class DatabaseBackups : public DatabaseCopies {
 protected:
  void SetUp() override {
    if (value("SELECT COUNT(*) FROM information_schema.columns WHERE table_name='COLUMNS' AND "
              "column_name='GENERATION_EXPRESSION'") != "0") {
      return;
    }
    const Result<void> dumped = backupSQL(toolContext(), database, folder / "b.sql");
    if (dumped) return;
    ASSERT_THAT(dumped.error(),
                AllOf(HasSubstr("Unknown column 'generation_expression'"),
                      HasSubstr("put the one that came with the server first on the PATH")));
    GTEST_SKIP() << dumped.error();
  }
};

TEST_F(DatabaseCopies, ADumpIsReadByTheDatabasesOwnTool) {
  const std::string into = TestServer::shared().freshDatabase("dump");
  const auto report =
      exportSQL(context, ids({4, 3}), {folder / "d.sql", " " + into + " ", 1000, true});
  ASSERT_TRUE(report) << report.error();
  const std::string text = folder.read("d.sql");
  EXPECT_EQ(text.find("CREATE DATABASE IF NOT EXISTS " + into + ";\nUSE " + into +
                      ";\nCREATE TABLE IF NOT EXISTS email (id INT UNSIGNED PRIMARY KEY  NOT NULL"),
            0U);
  EXPECT_NE(text.find("INSERT INTO email VALUES(1000,'Bob','b@example.org, "
                      "c@example.org','s','2024-01-06 10:20:30','In','ann@example.com','b',0,\"\","
                      "\"\",\"\");\nINSERT INTO email VALUES(1001,"),
            std::string::npos);
  EXPECT_NE(text.find("'b\\'c.bin',5,X'00FF275C22');\n"), std::string::npos);
  EXPECT_NE(text.find("'empty.txt',0,'');\n"), std::string::npos);
  const Result<SqlFile> file = inspectSqlFile(folder / "d.sql");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->databaseName, " " + into);
  EXPECT_FALSE(file->replaces);

  // Whatever quotes and escapes mean to the server otherwise.
  const std::string mode = value("SELECT @@GLOBAL.sql_mode");
  run("SET GLOBAL sql_mode='ANSI_QUOTES,NO_BACKSLASH_ESCAPES'");
  const Result<void> imported = importArchive(toolContext(), {*session}, folder / "d.sql");
  run("SET GLOBAL sql_mode='" + mode + "'");
  ASSERT_TRUE(imported) << imported.error();
  const std::string columns =
      "from_fld,to_fld,subj_fld,date_fld,mailbox,mailto,body_fld,numAttach,attachNames,attachText";
  EXPECT_EQ(rowsOf("SELECT " + columns + " FROM " + into + ".email ORDER BY id DESC"),
            rowsOf("SELECT " + columns + " FROM " + database + ".email ORDER BY id"));
  EXPECT_EQ(value("SELECT headings FROM " + into + ".email WHERE id=1001"),
            "Subject: x\nFrom: 'q'");
  EXPECT_EQ(value("SELECT orig_fld FROM " + into + ".origemail WHERE id=1001"),
            "Subject: x\nFrom: 'q'\n\nbody \\ \n");
  EXPECT_EQ(rowsOf("SELECT type_fld,filename_fld,attach_fld FROM " + into + ".attachments"),
            rowsOf("SELECT type_fld,filename_fld,attach_fld FROM " + database + ".attachments"));
  EXPECT_EQ(rowsOf("SELECT * FROM " + into + ".tags"),
            std::vector<std::string>{"1001|Work||0|it's|"});
  EXPECT_EQ(loginFiles(), 0U);
  EXPECT_EQ(value("SELECT GROUP_CONCAT(id) FROM " + into +
                  ".keldane_fingerprints WHERE content_sha256 IS NOT NULL"),
            "1001");
  EXPECT_EQ(*queryCell(*session, "SELECT DATABASE()"), database) << "the session is where it was";

  const Result<void> again = importSQL(toolContext(), folder / "d.sql");
  ASSERT_FALSE(again) << "the ids are taken";
  EXPECT_NE(again.error().find("mysql failed: ERROR 1062"), std::string::npos) << again.error();
  for (const char* name : {"", "a;b", "a b`c", "12", "a-b"}) {
    EXPECT_FALSE(exportSQL(context, ids({3}), {folder / "no.sql", name, 1, true})) << name;
  }
  EXPECT_FALSE(fileExists(folder / "no.sql"));
  EXPECT_EQ(inspectSqlFile(folder.write("x", "text")).error(), "This is not a Keldane SQL file.");
}

TEST_F(DatabaseBackups, FingerprintsAreThoseOfTheMessagesThatAnImportHasBrought) {
  const auto noted = [this] {
    return value("SELECT COUNT(*) FROM " + database +
                 ".keldane_fingerprints WHERE path='noted' AND id=3") +
           "/" +
           value("SELECT COUNT(*) FROM " + database +
                 ".keldane_fingerprints WHERE content_sha256 IS NOT NULL");
  };
  ASSERT_TRUE(Fingerprints({*session}).write(3, {.contentSha256 = "x", .path = "noted"}));
  ASSERT_TRUE(backupSQL(toolContext(), database, folder / "b.sql"));
  ASSERT_TRUE(importArchive(toolContext(), {*session}, folder / "b.sql"));
  EXPECT_EQ(noted(), "1/1") << "the file has brought them";
  const std::string other = folder.write(
      "other.sql",
      "-- of another program\nUSE `" + database +
          "`;\nDROP TABLE IF EXISTS origemail;\nCREATE TABLE origemail (id INT UNSIGNED "
          "PRIMARY KEY,orig_fld LONGBLOB NOT NULL);\nINSERT INTO origemail "
          "VALUES(3,'Subject: x\n\nother'),(4,'Subject: y\n\nother');\n");
  ASSERT_TRUE(importArchive(toolContext(), {*session}, other));
  EXPECT_EQ(noted(), "0/2") << "those of the messages before are not taken for these";
}

TEST_F(DatabaseBackups, ABackupByTheToolIsWholeOrNotThere) {
  ASSERT_TRUE(backupSQL(toolContext(), database, folder / "b.sql"));
  EXPECT_TRUE(inspectSqlFile(folder / "b.sql")->replaces);
  const Result<void> failed = backupSQL(toolContext(), "no_such_database", folder / "n.sql");
  ASSERT_FALSE(failed);
  EXPECT_NE(failed.error().find("no_such_database"), std::string::npos) << failed.error();
  EXPECT_FALSE(fileExists(folder / "n.sql"));
  EXPECT_EQ(loginFiles(), 0U);
}

TEST_F(DatabaseCopies, ThePasswordGoesByAFileThatOnlyTheUserReads) {
  RecordingToolRunner recording;
  std::string login;
  unsigned mode = 0;
  recording.answer = [&](const ToolCall& call) -> Result<ToolOutcome> {
    if (call.program == "/usr/bin/which") {
      return ToolOutcome{0, call.arguments[0].find('/') == 0 ? "" : "/opt/bin/mysqldump\n", ""};
    }
    const std::string path = call.arguments[0].substr(call.arguments[0].find('/'));
    login = *readFile(path);
    struct stat status {};
    ::stat(path.c_str(), &status);
    mode = status.st_mode & 0777U;
    return ToolOutcome{};
  };
  ToolContext given{recording, {}, folder.path(), progress};
  given.address = {"h", "u", "p\"\\#x", std::nullopt, "/s", 3307};
  given.address.tls = TlsMode::verify;
  given.address.tlsAuthority = "/my ca.pem";
  ASSERT_TRUE(backupSQL(given, "mail", folder / "b.sql"));
  EXPECT_EQ(login,
            "[client]\nhost=\"h\"\nuser=\"u\"\npassword=\"p\\\"\\\\#x\"\nsocket=\"/s\"\n"
            "port=3307\nloose-ssl\nloose-ssl-verify-server-cert\n"
            "loose-ssl-mode=VERIFY_IDENTITY\nssl-ca=\"/my ca.pem\"\n");
  EXPECT_EQ(mode, 0600U);
  const std::string line = recording.lines().back();
  EXPECT_EQ(line.substr(line.find(" --max")), " --max_allowed_packet=500MB --databases mail");
  EXPECT_EQ(line.find("p\"\\"), std::string::npos);
  recording.answer = [](const ToolCall&) -> Result<ToolOutcome> {
    return ToolOutcome{1, "which: no such thing", ""};
  };
  EXPECT_EQ(backupSQL(given, "mail", folder / "b.sql").error(),
            "Export failed.  Couldn't find the mysqldump utility.  which: no such thing\n");
}

TEST_F(DatabaseBackups, AnOddPasswordReachesTheServer) {
  const ServerAddress own = TestServer::shared().address();
  run("CREATE USER odd@localhost IDENTIFIED BY 'p\"\\\\#x y'");
  run("GRANT ALL ON *.* TO odd@localhost");
  ToolContext given = toolContext();
  given.address.user = "odd";
  given.address.password = "p\"\\#x y";
  const Result<void> done = backupSQL(given, database, folder / "b.sql");
  EXPECT_TRUE(done) << done.error();
  run("DROP USER odd@localhost");
}

TEST_F(DatabaseBackups, ACheckedBackupComesBackTheSame) {
  for (const char* name : {"b.sql", "b.sql.zst"}) {
    const std::string path = folder / name;
    const auto written = writeBackup(toolContext(), *session, database, path);
    ASSERT_TRUE(written) << written.error();
    const std::string into = TestServer::shared().freshDatabase("restored");
    const auto restored = restoreBackup(toolContext(), *session, path, into);
    ASSERT_TRUE(restored) << restored.error();
    EXPECT_EQ(*tableStates(*session, into), written->tables);
    EXPECT_EQ(rowsOf("SELECT * FROM " + into + ".attachments"),
              rowsOf("SELECT * FROM " + database + ".attachments"));
    EXPECT_EQ(rowsOf("SELECT * FROM " + into + ".`odd table`"),
              (std::vector<std::string>{"1|NULL|", "2||"}));
    EXPECT_FALSE(exists("keldane_unfinished_restore"));
    const auto again = restoreBackup(toolContext(), *session, path, into);
    ASSERT_FALSE(again);
    EXPECT_NE(again.error().find("is not empty"), std::string::npos);
  }
  EXPECT_LT(folder.read("b.sql.zst").size(), folder.read("b.sql").size());
  EXPECT_FALSE(writeBackup(toolContext(), *session, "no_such_database", folder / "n"));
  run("INSERT INTO tags VALUES(9,'','',0,'')");  // the lock is gone
}

TEST_F(DatabaseBackups, ADamagedBackupIsRefusedBeforeAnythingIsWritten) {
  for (const char* name : {"b.sql", "b.sql.zst"}) {
    ASSERT_TRUE(writeBackup(toolContext(), *session, database, folder / name));
    const std::string whole = folder.read(name);
    std::map<std::string, std::string> damaged = {
        {"cut at the end", whole.substr(0, whole.size() - 1)},
        {"cut in the middle", whole.substr(0, whole.size() / 2)},
        {"cut to its first bytes", whole.substr(0, 3)},
        {"empty", ""},
        {"longer", whole + "x\n"},
        {"altered", whole}};
    damaged["altered"][whole.size() / 2] ^= 1;
    for (const auto& [what, bytes] : damaged) {
      const std::string path = folder.write("damaged", bytes);
      const std::string into = TestServer::shared().freshDatabase("never");
      const auto restored = restoreBackup(toolContext(), *session, path, into);
      ASSERT_FALSE(restored) << what;
      EXPECT_EQ(restored.error().find(path + ": "), 0U) << what << ": " << restored.error();
      EXPECT_FALSE(exists(into)) << what;
    }
  }
}

TEST_F(DatabaseBackups, ARestoreThatFailsLeavesTheDatabaseAsItWas) {
  ASSERT_TRUE(writeBackup(toolContext(), *session, database, folder / "b.zst"));
  const std::string into = TestServer::shared().freshDatabase("kept");
  run("CREATE DATABASE keldane_unfinished_restore");  // of a restore that was killed
  run("CREATE TABLE keldane_unfinished_restore.email (id INT, subj_fld INT)");
  EXPECT_EQ(std::ranges::count(archivesOnServer(*session), "keldane_unfinished_restore"), 0);
  EXPECT_FALSE(checkDatabaseName("keldane_unfinished_restore"));
  progress.cancelAfter = 0;
  EXPECT_FALSE(restoreBackup(toolContext(), *session, folder / "b.zst", into));
  EXPECT_FALSE(exists(into));
  progress.cancelAfter = 1 << 30;
  ToolContext other = toolContext();
  other.address.user = "nobody";
  other.address.password = "wrong";
  EXPECT_FALSE(restoreBackup(other, *session, folder / "b.zst", into));
  EXPECT_FALSE(exists(into));
  EXPECT_TRUE(restoreBackup(toolContext(), *session, folder / "b.zst", into));
  EXPECT_EQ(value("SELECT COUNT(*) FROM " + into + ".email"), "2") << "and not what was left over";
}

TEST_F(DatabaseBackups, ABackupIsProvedInAServerOfItsOwn) {
  ASSERT_TRUE(writeBackup(toolContext(), *session, database, folder / "b.zst"));
  SystemEnvironment environment(0, nullptr);
  const auto checked = checkBackup(tools, environment, progress, folder / "b.zst");
  ASSERT_TRUE(checked) << checked.error();
  EXPECT_EQ(checked->tables, *tableStates(*session, database));
}

}  // namespace
}  // namespace keldane
