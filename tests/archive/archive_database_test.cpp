#include "archive/archive_database.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/existing_archive.h"
#include "base/text.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_session.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Table and column to type, nullability and default of every column of a database.
using Schema = std::map<std::string, std::string>;

class ArchiveOnServer : public testing::Test {
 protected:
  void SetUp() override {
    session_ = TestServer::shared().connect();
    database_ = std::make_unique<ArchiveDatabase>(*session_, progress_, process_);
    database_->dbPath = TestServer::shared().freshDatabase("archive");
  }
  void run(const std::string& sql) {
    ASSERT_TRUE(session_->query(sql)) << sql << ": " << session_->error();
  }
  std::string first(const std::string& sql) {
    EXPECT_TRUE(session_->query(sql)) << sql << ": " << session_->error();
    return fetchFirstCell(*session_);
  }
  Schema schemaOf(const std::string& database) {
    Schema schema;
    EXPECT_TRUE(session_->query(
        "SELECT CONCAT(table_name,'.',column_name),CONCAT_WS(' ',column_type,is_nullable,"
        "REPLACE(column_default,CHAR(39),''),column_key,extra,character_set_name) FROM "
        "information_schema.columns "
        "WHERE table_schema='" +
        database + "'"));
    const auto rows = session_->storeResult();
    while (rows->next()) schema[std::string(*rows->cell(0))] = rows->cell(1).value_or("");
    return schema;
  }
  std::string indexCount(const std::string& database) {
    return first(
        "SELECT COUNT(DISTINCT index_name) FROM information_schema.statistics WHERE "
        "table_name='email' AND index_name NOT IN ('PRIMARY','toIndex') AND table_schema='" +
        database + "'");
  }

  RecordingProgress progress_;
  ProcessState process_;
  std::unique_ptr<ServerSession> session_;
  std::unique_ptr<ArchiveDatabase> database_;
};

TEST_F(ArchiveOnServer, ANewArchiveIsMadeWholeAndOpenedAgainUnchanged) {
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_EQ(process_.cancelFlag, 0);
  EXPECT_EQ(first("SELECT DATABASE()"), database_->dbPath);
  const Schema schema = schemaOf(database_->dbPath);
  EXPECT_EQ(schema.size(), 12u + 5 + 2 + 5 + 27 + 3);
  EXPECT_EQ(schema.at("email.headings"), "mediumtext NO   utf8mb4");
  EXPECT_EQ(schema.at("settings.limitSearchSize"), "varchar(16) YES 1000   utf8mb4");
  EXPECT_THAT(progress_.stages, testing::Not(testing::Contains(testing::StartsWith("Enlarging"))));

  run("INSERT INTO settings (appearanceState) VALUES(2)");
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_EQ(schemaOf(database_->dbPath), schema);
  EXPECT_EQ(first("SELECT appearanceState FROM settings"), "2");
}

TEST_F(ArchiveOnServer, AWholeArchiveIsSentNoStatementOfTheSchemaAndADamagedOneAll) {
  const auto schemaStatements = [this] {
    return first(
        "SELECT SUM(variable_value) FROM information_schema.session_status WHERE variable_name IN "
        "('Com_create_db','Com_alter_db','Com_create_table','Com_alter_table','Com_create_index')");
  };
  if (!session_->query("SELECT 1 FROM information_schema.session_status LIMIT 0")) {
    GTEST_SKIP() << "this server counts its statements elsewhere";
  }
  static_cast<void>(session_->storeResult());
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  const Schema whole = schemaOf(database_->dbPath);
  const std::string before = schemaStatements();
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  // Another process, which knows nothing of the indexes.
  ArchiveDatabase other(*session_, progress_, process_);
  other.dbPath = database_->dbPath;
  EXPECT_THAT(other.openDatabase(), IsEmpty());
  EXPECT_EQ(schemaStatements(), before);
  for (const char* damage :
       {"ALTER TABLE settings DROP appearanceState", "ALTER TABLE email DROP headings",
        "DROP TABLE categories", "ALTER TABLE email MODIFY mailbox VARCHAR(127) NOT NULL",
        "ALTER TABLE mailboxes MODIFY mailbox VARCHAR(127)"}) {
    run(damage);
    EXPECT_THAT(other.openDatabase(), IsEmpty());
    Schema mended = schemaOf(database_->dbPath);
    EXPECT_EQ(mended.size(), whole.size()) << damage;
    EXPECT_NE(mended["email.mailbox"].find("varchar(255)"), std::string::npos) << damage;
    EXPECT_EQ(mended["mailboxes.mailbox"], whole.at("mailboxes.mailbox")) << damage;
  }
}

TEST_F(ArchiveOnServer, ReadingLeavesNoTrace) {
  const std::string archive = database_->dbPath;
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  const std::string foreign = TestServer::shared().freshDatabase("archive");
  run("CREATE DATABASE " + foreign);
  run("CREATE TABLE " + foreign + ".email (id INT, customer INT)");
  const std::string missing = TestServer::shared().freshDatabase("archive");
  const Schema before = schemaOf(foreign);
  const struct {
    const std::string& name;
    Opening opening;
    bool opens;
    const char* fault;
  } rows[] = {{archive, Opening::existing, true, nullptr},
              {missing, Opening::existing, false, "there is no database"},
              {missing, Opening::ifThere, false, nullptr},
              {foreign, Opening::existing, false, "holds no archive"}};
  for (const auto& row : rows) {
    process_.cancelFlag = 0;
    database_->dbPath = row.name;
    database_->opening = row.opening;
    const Faults faults = database_->openDatabase();
    EXPECT_EQ(database_->isOpen(), row.opens) << row.name;
    EXPECT_EQ(process_.cancelFlag, row.fault != nullptr ? 1 : 0) << row.name;
    ASSERT_EQ(faults.size(), row.fault != nullptr ? 1U : 0U) << row.name;
    if (row.fault == nullptr) continue;
    EXPECT_EQ(faults[0].about, Fault::About::archive) << row.name;
    EXPECT_THAT(faults[0].text, testing::HasSubstr(row.fault)) << row.name;
  }
  EXPECT_EQ(
      first("SELECT COUNT(*) FROM information_schema.schemata WHERE schema_name='" + missing + "'"),
      "0");
  EXPECT_EQ(schemaOf(foreign), before);
  EXPECT_THAT(archivesOnServer(*session_),
              testing::AllOf(testing::Contains(archive), testing::Not(testing::Contains(foreign))));
}

TEST_F(ArchiveOnServer, AnOldArchiveIsBroughtUpToDateWithItsRows) {
  const std::string old = database_->dbPath;
  run("CREATE DATABASE " + old + " CHARACTER SET utf8mb4");
  ASSERT_TRUE(session_->selectDatabase(old));
  run("CREATE TABLE email (id INTEGER UNSIGNED PRIMARY KEY NOT NULL AUTO_INCREMENT,"
      "from_fld VARCHAR(255) NOT NULL DEFAULT '',to_fld VARCHAR(255) NOT NULL,"
      "subj_fld MEDIUMTEXT NOT NULL,date_fld DATETIME NOT NULL,"
      "mailbox VARCHAR(127) NOT NULL DEFAULT '',mailto VARCHAR(127) NOT NULL DEFAULT '',"
      "body_fld LONGTEXT NOT NULL,numAttach INTEGER NOT NULL DEFAULT 0,"
      "attachNames MEDIUMTEXT NOT NULL,attachText LONGTEXT NOT NULL)");
  run("CREATE TABLE settings (attachState INT DEFAULT 1,htmlState INT DEFAULT 1,"
      "origState INT DEFAULT 1,trashState INT DEFAULT 0,allmbState INT DEFAULT 0,"
      "largeAttachState INT DEFAULT 0,attachSize VARCHAR(16) DEFAULT '1.6',"
      "updatesState INT DEFAULT 1,browseNameString VARCHAR(127) DEFAULT '',"
      "indexDateState INT DEFAULT 1,indexFromState INT DEFAULT 0,indexToState INT DEFAULT 0,"
      "indexSubjectState INT DEFAULT 0,indexBodyState INT DEFAULT 0,"
      "indexAttachNameState INT DEFAULT 0,indexAttachConState INT DEFAULT 0)");
  run("CREATE TABLE mailboxes (mailbox VARCHAR(127) DEFAULT '')");
  run("INSERT INTO email (subj_fld,to_fld,mailbox,date_fld,body_fld,attachNames,attachText) "
      "VALUES('kept','you','INBOX','2001-02-03 04:05:06','','','')");
  run("INSERT INTO settings (trashState) VALUES(1)");

  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_THAT(progress_.stages,
              testing::Contains("Enlarging size of mailbox field in database..."));
  EXPECT_THAT(progress_.stages, testing::Not(testing::Contains(testing::HasSubstr("TO field in"))));
  EXPECT_EQ(first("SELECT CONCAT_WS('|',subj_fld,to_fld,mailbox,headings) FROM email"),
            "kept|you|INBOX|");
  EXPECT_EQ(first("SELECT CONCAT_WS('|',trashState,appearanceState,limitSearchSize,postbox) "
                  "FROM settings"),
            "1|0|1000|0");
  progress_.stages.clear();
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_THAT(progress_.stages, IsEmpty()) << "nothing is left to enlarge";

  Schema upgraded = schemaOf(old);
  database_->dbPath = TestServer::shared().freshDatabase("archive");
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  Schema fresh = schemaOf(database_->dbPath);
  // An address list of 255 characters is taken as wide enough, and the wider mailbox column has no
  // default of its own.
  EXPECT_EQ(upgraded.at("email.to_fld"), "varchar(255) NO MUL  utf8mb4");
  EXPECT_EQ(upgraded.at("email.mailbox"), "varchar(255) NO MUL  utf8mb4");
  for (Schema* schema : {&upgraded, &fresh}) {
    // Indexes belong to the first archive of a process.
    for (const char* column : {"email.to_fld", "email.mailbox", "email.from_fld", "email.date_fld",
                               "email.subj_fld", "email.body_fld"}) {
      schema->erase(column);
    }
  }
  EXPECT_EQ(upgraded, fresh);
}

TEST_F(ArchiveOnServer, OnlyTheFirstArchiveOfAProcessGetsIndexes) {
  const std::string one = database_->dbPath;
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_THAT(progress_.stages,
              ElementsAre("Indexing Date field...", "end", "Indexing From field...", "end",
                          "Indexing Mailbox field...", "end", "Indexing To field...", "end",
                          "Indexing Subject field...", "end", "Indexing Body Text field...", "end",
                          "Indexing Attach Name field...", "Creating composite indes...", "end"));
  EXPECT_EQ(indexCount(one), "6") << "and toIndex where the server needs no length for it";
  database_->dbPath = TestServer::shared().freshDatabase("archive");
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_EQ(indexCount(database_->dbPath), "0");
}

TEST_F(ArchiveOnServer, ANewArchiveHasAPlaceForEveryCharacterAndAnOldOneKeepsItsOwn) {
  // As most servers have it; one that knows no such mode has it so anyway.
  static_cast<void>(session_->query("SET SESSION old_mode='UTF8_IS_UTF8MB3'"));
  const auto hasFourBytes = [this](const std::string& table) {
    return first(
        "SELECT SUBSTRING_INDEX(table_collation,'_',1)='utf8mb4' FROM information_schema.tables "
        "WHERE table_schema=DATABASE() AND table_name='" +
        table + "'");
  };
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  run("CREATE TABLE later (t MEDIUMTEXT)");
  EXPECT_EQ(hasFourBytes("email"), "1");
  EXPECT_EQ(hasFourBytes("later"), "1") << "a dump that is read back makes its tables anew";
  run("INSERT INTO tags (id,notes_fld) VALUES(1,'\xF0\x9F\x98\x80')");
  EXPECT_EQ(first("SELECT notes_fld FROM tags"), "\xF0\x9F\x98\x80");

  database_->dbPath = TestServer::shared().freshDatabase("archive");
  run("CREATE DATABASE " + database_->dbPath);
  ASSERT_TRUE(session_->selectDatabase(database_->dbPath));
  run("CREATE TABLE email (id INTEGER UNSIGNED PRIMARY KEY NOT NULL AUTO_INCREMENT,"
      "to_fld MEDIUMTEXT NOT NULL,mailbox VARCHAR(255) NOT NULL) DEFAULT CHARACTER SET utf8");
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  run("CREATE TABLE later (t MEDIUMTEXT)");
  EXPECT_EQ(hasFourBytes("email"), "0");
  EXPECT_EQ(hasFourBytes("later"), "0");
}

TEST_F(ArchiveOnServer, AnEmptyNameOpensTheDefault) {
  if (TestServer::shared().isGiven()) GTEST_SKIP() << "a server that is given may have one";
  database_->dbPath.clear();
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_EQ(database_->dbPath, "myemaildb");
  EXPECT_EQ(first("SELECT DATABASE()"), "myemaildb");
}

TEST_F(ArchiveOnServer, ANameThatIsNoIdentifierIsNotSent) {
  const std::string other = database_->dbPath;
  EXPECT_THAT(database_->openDatabase(), IsEmpty());
  for (const std::string& name : {std::string("my mail"), "x; DROP DATABASE " + other,
                                  std::string("a-b"), std::string("`")}) {
    process_.cancelFlag = 0;
    database_->dbPath = name;
    const Faults faults = database_->openDatabase();
    ASSERT_EQ(faults.size(), 1u) << name;
    EXPECT_THAT(faults[0].text, testing::HasSubstr("cannot be the name of a database"));
    EXPECT_EQ(process_.cancelFlag, 1) << name;
  }
  EXPECT_TRUE(session_->selectDatabase(other));
}

TEST_F(ArchiveOnServer, ADroppedDatabaseIsForgottenAndAFailureIsTold) {
  const std::string name = database_->dbPath;
  ASSERT_THAT(database_->openDatabase(), IsEmpty());
  EXPECT_TRUE(database_->dropDatabase());
  EXPECT_FALSE(session_->selectDatabase(name));
  EXPECT_EQ(database_->dbPath, "");
  database_->dbPath = name;
  const Result<void> again = database_->dropDatabase();
  ASSERT_FALSE(again);
  EXPECT_THAT(again.error(), testing::StartsWith("Can't drop database"));
  EXPECT_EQ(database_->dbPath, name);
}

class ArchiveByScript : public testing::Test {
 protected:
  ArchiveByScript() : database_(session_, progress_, process_) {
    database_.dbPath = "mail";
    session_.answerOn("query SHOW COLUMNS*", {{"to_fld", "mediumtext", "NO"}});
  }
  ScriptedSession session_;
  RecordingProgress progress_;
  ProcessState process_;
  ArchiveDatabase database_;
};

TEST_F(ArchiveByScript, AFatalFailureIsShownAndEndsTheSequence) {
  struct Row {
    const char* statement;
    const char* text;
  };
  const char* const shortForm = "SQL error: no disk\n";
  const char* const longForm = "SQL Error: mail no disk";
  const Row rows[] = {{"CREATE DATABASE IF NOT EXISTS mail", shortForm},
                      {"ALTER DATABASE mail CHARACTER SET utf8", shortForm},
                      {"CREATE TABLE IF NOT EXISTS email (*", shortForm},
                      {"CREATE TABLE IF NOT EXISTS attachments (*", shortForm},
                      {"CREATE TABLE IF NOT EXISTS origemail (*", longForm},
                      {"CREATE TABLE IF NOT EXISTS tags (*", longForm},
                      {"CREATE TABLE IF NOT EXISTS settings (*", longForm},
                      {"CREATE TABLE IF NOT EXISTS accounts (*", longForm},
                      {"CREATE TABLE IF NOT EXISTS mailboxes (*", longForm},
                      {"CREATE TABLE IF NOT EXISTS categories (*", longForm}};
  for (const Row& row : rows) {
    session_.failOn("query " + std::string(row.statement), "no disk", 1);
    session_.calls.clear();
    process_.cancelFlag = 0;
    const Faults faults = database_.openDatabase();
    ASSERT_EQ(faults.size(), 1u) << row.statement;
    EXPECT_EQ(faults[0].about, Fault::About::server) << row.statement;
    EXPECT_EQ(faults[0].text, row.text) << row.statement;
    EXPECT_FALSE(database_.isOpen()) << row.statement;
    EXPECT_EQ(process_.cancelFlag, 1) << row.statement;
    EXPECT_TRUE(matchesWildcard(session_.statements().back(), row.statement)) << row.statement;
  }
}

TEST_F(ArchiveByScript, OtherFailuresDoNotStopIt) {
  for (const char* statement : {"select mail", "query ALTER TABLE*", "query SHOW COLUMNS*",
                                "query CREATE INDEX*", "query CREATE FULLTEXT INDEX*"}) {
    session_.failOn(statement, "refused");
  }
  EXPECT_THAT(database_.openDatabase(), IsEmpty());
  EXPECT_EQ(process_.cancelFlag, 0);
  EXPECT_EQ(session_.statements().size(), 33u);
  EXPECT_TRUE(session_.statements().back().starts_with("ALTER TABLE email ADD INDEX coverindex"));
}

TEST_F(ArchiveByScript, AnIndexIsAskedForWithoutAConditionThatTheServerDoesNotKnow) {
  session_.failOn("query CREATE *INDEX IF NOT EXISTS*",
                  "You have an error in your SQL syntax; ...");
  session_.failOn("query CREATE INDEX IF NOT EXISTS toIndex*", "BLOB without a key length");
  EXPECT_THAT(database_.openDatabase(), IsEmpty());
  std::vector<std::string> sent;
  for (const std::string& sql : session_.statements()) {
    if (sql.starts_with("CREATE") && sql.find("INDEX") < 20 && sql.find("EXISTS") > sql.size()) {
      sent.push_back(sql);
    }
  }
  EXPECT_THAT(sent, ElementsAre("CREATE INDEX dateIndex ON email (date_fld)",
                                "CREATE INDEX FromIndex ON email (from_fld)",
                                "CREATE INDEX mailboxIndex ON email (mailbox)",
                                "CREATE FULLTEXT INDEX subjIndex ON email (subj_fld)",
                                "CREATE FULLTEXT INDEX bodyIndex ON email (body_fld)"));
}

TEST_F(ArchiveByScript, OnlyALostSessionIsBroughtBackAndNotWithinAConnect) {
  int reconnects = 0;
  const auto reconnect = [&]() -> Faults {
    ++reconnects;
    return {{Fault::About::server, "no server"}};
  };
  struct Row {
    const char* error;
    bool mayReconnect;
    const char* text;
  };
  for (const Row& row : {Row{"Lost connection to server during query", true,
                             "SQL error: Lost connection to server during query\n"},
                         Row{"Server has gone away", false, "SQL error: Server has gone away\n"},
                         Row{"Server has gone away", true, "no server"}}) {
    database_.reconnect = nullptr;
    if (row.mayReconnect) database_.reconnect = reconnect;
    session_.failOn("query CREATE DATABASE*", row.error, 1);
    process_.cancelFlag = 0;
    const Faults faults = database_.openDatabase();
    ASSERT_EQ(faults.size(), 1U) << row.text;
    EXPECT_EQ(faults[0].text, row.text);
    EXPECT_EQ(database_.isLost(), !row.mayReconnect) << row.text;
    EXPECT_EQ(process_.cancelFlag, 1) << row.text;
  }
  EXPECT_EQ(reconnects, 1);
}

}  // namespace
}  // namespace keldane
