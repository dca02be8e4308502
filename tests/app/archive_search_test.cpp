#include "archive/sql_values.h"
#include "tests/app/search_panels_rig.h"

namespace keldane {
namespace {

using testing::ElementsAre;

/// Searches against a server: what it takes for a pattern, and what its views hold.
struct ArchiveSearch : testing::Test {
  void add(int id, const std::string& subject, const std::string& date = "2021-03-04 05:06:07") {
    run("INSERT INTO email (id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach) VALUES(" +
        std::to_string(id) + ",'" + date + "','f','t'," + quotedInline(subject) + ",'In',0)");
  }
  void run(const std::string& sql) { ASSERT_TRUE(db.session->query(sql)) << db.session->error(); }
  std::vector<std::string> search(const std::string& subject) {
    rig.sheet.form.searchTextField[2] = subject;
    rig.sheet.retrieveEmails();
    return rig.list.emailIds;
  }

  ServerDatabase db;
  SearchPanelsOver rig{*db.session};
};

TEST_F(ArchiveSearch, HostileWordsFindOnlyWhatTheyMean) {
  add(1, "say \"hi\" now");
  add(2, "back\\slash");
  add(3, "plain");
  add(4, "100% sure");
  add(5, "\" OR 1=1 -- ");
  const std::pair<const char*, std::vector<std::string>> rows[] = {{"\"hi\"", {"1"}},
                                                                   {"\" OR 1=1 -- ", {"5"}},
                                                                   {"\\\" OR 1=1 -- ", {"5"}},
                                                                   {"\\\"hi\\\"", {"1"}},
                                                                   {"\\\\\" OR 1=1 #", {}},
                                                                   {"' OR ''='", {}},
                                                                   {"%", {"1", "2", "3", "4", "5"}},
                                                                   {"p_ain", {"3"}},
                                                                   {"0\\%", {"4"}}};
  for (const auto& [words, found] : rows) {
    EXPECT_EQ(search(words), found) << words;
    EXPECT_THAT(rig.ui.alertLines(), testing::IsEmpty()) << words;
  }
}

TEST_F(ArchiveSearch, CategoryFromTheArchiveCannotEndItsString) {
  // A backslash works in the pattern, so a category that holds one inside is not found by its name.
  for (const auto& [category, isFound] :
       {std::pair("a\"b", true), {"a\\", true}, {"\\\" OR 1=1 -- ", false}}) {
    run("DELETE FROM email");
    run("DELETE FROM tags");
    add(1, "tagged");
    add(2, "not tagged");
    run("INSERT INTO tags (id,cat_fld) VALUES(1," + quotedInline(category) + ")");
    rig.sheet.form.searchCatButton = category;
    (void)search("");
    EXPECT_THAT(rig.ui.alertLines(), testing::IsEmpty()) << category;
    EXPECT_EQ(rig.list.emailIds, std::vector<std::string>(isFound ? 1 : 0, "1")) << category;
  }
}

TEST_F(ArchiveSearch, ListsNarrowOneAnotherAndAnEmptyOneEndsIt) {
  add(1, "red apple", "2021-01-01 00:00:00");
  add(2, "red pear", "2021-01-02 00:00:00");
  add(3, "green pear", "2021-01-03 00:00:00");
  run("INSERT INTO tags (id,cat_fld) VALUES(2,'c')");
  EXPECT_THAT(search("red"), ElementsAre("1", "2"));
  EXPECT_EQ(rig.list.emailRows[1].emailDate, "2021-01-02 00:00:00*");
  EXPECT_EQ(rig.list.dbCountTextField, "3 emails in the database.");
  rig.sheet.retrieveFromList();
  // As another window leaves it behind.
  run("CREATE OR REPLACE VIEW listView1 AS SELECT * FROM email WHERE id=3");
  EXPECT_THAT(search("pear"), ElementsAre("2"));
  rig.sheet.form.searchCatButton = "c";
  EXPECT_THAT(search("pear"), ElementsAre("2"));
  EXPECT_EQ(rig.list.listViewCount, 3);
  EXPECT_EQ(db.cells("SELECT count(*) FROM information_schema.views WHERE table_schema='" +
                     db.name + "'"),
            "3");
  EXPECT_THAT(search("nothing"), testing::IsEmpty());
  EXPECT_THAT(rig.ui.alertLines(), testing::IsEmpty());
  // The empty list has no view, so a search inside it is refused.
  EXPECT_THAT(search("pear"), testing::IsEmpty());
  EXPECT_THAT(rig.ui.alertLines(), ElementsAre(testing::HasSubstr("listView4")));
  rig.sheet.retrieveFromDB();
  EXPECT_EQ(db.cells("SELECT count(*) FROM information_schema.views WHERE table_schema='" +
                     db.name + "'"),
            "0");
}

TEST_F(ArchiveSearch, RefusedFormsAreShownAsErrors) {
  add(1, "x");
  rig.sheet.form.onlyAttachCheck = true;
  rig.sheet.form.typeCheck[1] = true;
  rig.sheet.form.opsButton[8] = "AND NOT";
  (void)search("");
  EXPECT_EQ(rig.ui.alerts.size(), 1U);
  rig.sheet.form = {};
  rig.sheet.form.searchKeywordsTextField = "a\"b";
  (void)search("");
  EXPECT_EQ(rig.ui.alerts.size(), 2U);
}

TEST_F(ArchiveSearch, BrowseBySizeShowsTheLongestFirst) {
  add(1, "short");
  add(2, "long");
  run("INSERT INTO origemail (id,orig_fld) VALUES(1,'x'),(2,'xxxx')");
  rig.sheet.browseBySize();
  EXPECT_THAT(rig.list.emailIds, ElementsAre("2", "1"));
}

}  // namespace
}  // namespace keldane
