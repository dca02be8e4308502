#include "output/deletion.h"

#include "tests/output/output_rig.h"

namespace keldane {
namespace {

class Deletion : public OutputRig {
 protected:
  Deletion() {
    for (int id = 1; id <= 3; ++id) {
      addMessage(id, "2024-01-05 10:20:30", "a", "s", "b");
      addSource(id, "S: 1\n\n");
      addAttachment(id, "text/html", "page.html", "x");
      addAttachment(id, "text/plain", "a.txt", "x");
      run(fmt::format("INSERT INTO tags VALUES({},'c','',0,'')", id));
      run(fmt::format("INSERT INTO keldane_fingerprints (id) VALUES({})", id));
    }
  }
  /// The ids in all tables of messages, each with the number of its rows.
  std::string left() {
    EXPECT_TRUE(session->query(
        "SELECT COALESCE(GROUP_CONCAT(CONCAT(id,':',n) ORDER BY id),'') FROM (SELECT id,COUNT(*) "
        "AS n FROM (SELECT id FROM email UNION ALL SELECT id FROM attachments UNION ALL SELECT id "
        "FROM tags UNION ALL SELECT id FROM origemail UNION ALL SELECT id FROM "
        "keldane_fingerprints) AS r GROUP BY id) AS t"));
    return fetchFirstCell(*session);
  }
};

TEST_F(Deletion, TakesAllThatTheArchiveHasOfAMessage) {
  std::vector<std::uint32_t> forgotten;
  const DeletionReport report = deleteMessages(
      context, ids({3, 1}), [&forgotten](std::uint32_t id) { forgotten.push_back(id); });
  EXPECT_EQ(report.messages, 2U);
  EXPECT_EQ(report.error, "");
  EXPECT_EQ(left(), "2:6");
  EXPECT_EQ(forgotten, (std::vector<std::uint32_t>{3, 1}));
}

TEST_F(Deletion, EndsWhereItIsRefusedOrCancelled) {
  progress.cancelAfter = 1;
  EXPECT_TRUE(deleteMessages(context, ids({1, 2}), {}).cancelled);
  EXPECT_EQ(left(), "2:6,3:6");
  progress.last = 0;
  run("DROP TABLE tags");
  const DeletionReport refused = deleteMessages(context, ids({2, 3}), {});
  EXPECT_EQ(refused.messages, 0U);
  EXPECT_EQ(refused.error.find("SQL error: "), 0U);
}

TEST_F(Deletion, OfAttachmentsLeavesTheMessagesText) {
  EXPECT_EQ(deleteAttachments(context, ids({1, 2})).messages, 2U);
  EXPECT_EQ(left(), "1:5,2:5,3:6");
  ASSERT_TRUE(session->query("SELECT filename_fld FROM attachments WHERE id=1"));
  EXPECT_EQ(fetchFirstCell(*session), "page.html");
}

}  // namespace
}  // namespace keldane
