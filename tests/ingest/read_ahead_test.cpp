#include "ingest/reading/read_ahead.h"

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/fake_environment.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

std::string mail(const std::string& subject, std::size_t bodyBytes = 10) {
  return "From: ann@example.org\nSubject: " + subject +
         "\nDate: Tue, 5 Mar 2019 10:20:30 +0000\n\n" + std::string(bodyBytes, 'x') + "\n";
}

class ReadAhead : public ::testing::Test {
 protected:
  ReadAhead() {
    plan.range = {"2000-01-01 00:00:00", "2030-01-01 00:00:00"};
    environment.seconds = 4000000000;  // every file has rested
  }
  const TemporaryFolder folder;
  PassPlan plan;
  FakeEnvironment environment;
};

TEST_F(ReadAhead, GivesEachFileInItsTurnAndNoneThatIsNoLongerTheSame) {
  const std::vector<std::string> paths = {
      folder.write("a.eml", mail("first")), folder.write("large.eml", mail("large", 2U << 20U)),
      folder.write("gone.eml", mail("gone")), folder.write("changed.eml", mail("changed")),
      folder.write("b.eml", mail("last"))};
  const auto candidate = [&](std::size_t file) -> std::optional<FilesAhead::Candidate> {
    if (paths[file] == folder / "gone.eml") std::remove(paths[file].c_str());
    return FilesAhead::Candidate{paths[file], false};
  };
  std::vector<std::string> subjects;
  FilesAhead ahead({{plan, environment}, paths.size(), candidate});
  for (const std::string& path : paths) {
    ahead.next();
    // Its bytes are others when its turn comes.
    if (path == paths[3]) folder.write("changed.eml", mail("something else"));
    const Result<FileState> state = stateOf(path);
    if (!state) continue;
    EXPECT_FALSE(ahead.take(path, *state, true)) << "read in the other way";
    const auto prepared = ahead.take(path, *state, false);
    EXPECT_FALSE(ahead.take(path, *state, false)) << "taken twice";
    subjects.push_back(prepared ? prepared->message.msgSubject : "-");
  }
  EXPECT_EQ(subjects, (std::vector<std::string>{"first", "-", "-", "last"}));
}

TEST_F(ReadAhead, GivesTheMessagesOfAnMboxInTheirOrderWhateverTheirSize) {
  std::string bytes;
  std::vector<std::string> subjects;
  for (int i = 0; i < 60; ++i) {
    subjects.push_back(std::to_string(i));
    bytes += "From ann@example.org Tue Mar  5 10:20:30 2019\n" +
             mail(subjects.back(), i % 10 == 5 ? 2U << 20U : 300000) + "\n";
  }
  const std::string path = folder.write("mbox", bytes);
  for (const std::size_t most : {subjects.size(), std::size_t{7}}) {
    MboxReader mbox(path, bytes.size());
    ASSERT_TRUE(mbox.open());
    PiecesAhead pieces(mbox, path, {plan, environment});
    std::vector<std::string> found;
    while (found.size() < most) {
      auto piece = pieces.next();
      ASSERT_TRUE(piece);
      EXPECT_EQ(piece->isAtEnd, found.size() + 1 == subjects.size());
      found.push_back(piece->prepared.message.msgSubject);
    }
    EXPECT_EQ(found, std::vector<std::string>(subjects.begin(), subjects.begin() + most));
    if (most == subjects.size()) {
      EXPECT_FALSE(pieces.next());
    }
  }
}

TEST_F(ReadAhead, AQueueHoldsNoMoreThanItHasRoomFor) {
  AheadQueue<int> queue(10);
  std::atomic<int> inside = 0;
  std::thread maker([&] {
    for (int i = 0; i < 1000; ++i) {
      ASSERT_TRUE(queue.put(i, 3));
      EXPECT_LE(++inside, 4);  // one of them has just been taken
    }
    queue.end();
  });
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(queue.take(), i);
    --inside;
  }
  EXPECT_FALSE(queue.take());
  maker.join();
}

}  // namespace
}  // namespace keldane
