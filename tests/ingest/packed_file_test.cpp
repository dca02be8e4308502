#include "ingest/reading/packed_file.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/ingest/packed_bytes.h"
#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

std::string zip(const PackedFiles& files) { return pack("zip", {}, files); }

/// What a reader of the file sees: each file with its bytes, what was left out, how it ended.
struct Seen {
  std::map<std::string, std::string> files;
  std::map<std::string, std::string> skipped;
  std::string end;
};

Seen readPacked(const std::string& name, const std::string& bytes, PackedLimits limits = {}) {
  const TemporaryFolder folder;
  Seen seen;
  PackedFile packed(folder.write(name, bytes), limits);
  const Result<void> done =
      packed.read({.visit =
                       [&](const PackedEntry& entry) {
                         std::string content;
                         std::string_view piece;
                         Result<bool> more = entry.read(piece);
                         for (; more && *more; more = entry.read(piece)) content += piece;
                         if (!more) content += "|" + more.error();
                         EXPECT_TRUE(content.starts_with(entry.beginning));
                         seen.files[entry.name] = content;
                         return true;
                       },
                   .skipped = [&](const std::string& entry,
                                  const std::string& reason) { seen.skipped[entry] = reason; }});
  if (!done) seen.end = done.error();
  return seen;
}

std::string longText(std::size_t bytes) {
  std::string text;
  for (unsigned i = 1; text.size() < bytes; i = i * 1664525U + 1013904223U)
    text += std::to_string(i);
  return text;
}

TEST(PackedFile, GivesEachFileOfEachKindToTheByte) {
  const std::string mail = longText(300000);
  const PackedFiles two = {{"a/one.eml", mail}, {"b.mbox", "From x\n\nb"}};
  const std::map<std::string, std::string> both(two.begin(), two.end());
  struct Case {
    const char* name;
    std::string bytes;
    std::map<std::string, std::string> files;
  };
  const Case cases[] = {
      {"in.mbox.gz", pack("raw", {"gzip"}, {{"x", mail}}), {{"in.mbox", mail}}},
      {"in.mbox.bz2", pack("raw", {"bzip2"}, {{"x", mail}}), {{"in.mbox", mail}}},
      {"in.mbox.xz", pack("raw", {"xz"}, {{"x", mail}}), {{"in.mbox", mail}}},
      {"in.mbox.zst", pack("raw", {"zstd"}, {{"x", mail}}), {{"in.mbox", mail}}},
      {"all.zip", zip(two), both},
      {"all.tar", pack("ustar", {}, two), both},
      {"all.tgz", pack("ustar", {"gzip"}, two), both},
      {"all.tar.zst", pack("ustar", {"zstd"}, two), both},
      {"zip in tar.gz",
       pack("ustar", {"gzip"}, {{"in/all.zip", zip(two)}}),
       {{"in/all.zip/a/one.eml", mail}, {"in/all.zip/b.mbox", "From x\n\nb"}}},
      {"gz in zip",
       zip({{"2004/box.mbox.gz", pack("raw", {"gzip"}, {{"x", mail}})}}),
       {{"2004/box.mbox", mail}}},
      {"empty.zip", zip({}), {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(PackedFile::isPacked(c.bytes));
    const Seen seen = readPacked(c.name, c.bytes);
    EXPECT_EQ(seen.end, "");
    EXPECT_TRUE(seen.skipped.empty());
    EXPECT_EQ(seen.files, c.files);
  }
}

TEST(PackedFile, MakesPathsInsideToNames) {
  const Seen seen = readPacked(
      "a.tar",
      pack("ustar", {}, {{"../../x", "1"}, {"/etc/./y", "2"}, {"a\nb/\x1B[2J", "3"}, {"..", "4"}}));
  const std::map<std::string, std::string> names = {
      {"x", "1"}, {"etc/y", "2"}, {"a b/\uFFFD[2J", "3"}, {"unnamed", "4"}};
  EXPECT_EQ(seen.files, names);
}

TEST(PackedFile, StopsAtItsLimits) {
  const std::string zeros(40U << 20U, '0');
  const auto gz = [](const std::string& bytes) { return pack("raw", {"gzip"}, {{"x", bytes}}); };
  const auto files = [](const Seen& seen) { return seen.files.size(); };

  Seen seen = readPacked("bomb.gz", pack("raw", {"zstd"}, {{"x", zeros}}));
  EXPECT_EQ(seen.end, "it unpacks to far more than a file of its size may, at bomb");
  // Packed twice, each time below the ratio.
  seen = readPacked("bomb.zip", zip({{"a.gz", gz(zeros)}, {"b", "never"}}), {.ratio = 50});
  EXPECT_EQ(seen.end, "it unpacks to far more than a file of its size may, at a.gz");
  EXPECT_FALSE(seen.files.contains("b"));

  seen = readPacked("many.zip", zip({{"a", "1"}, {"b", "2"}, {"c", "3"}}), {.entries = 2});
  EXPECT_EQ(seen.end, "more than 2 files in it, behind b");
  EXPECT_EQ(files(seen), 2U);

  seen = readPacked(
      "deep.zip",
      zip({{"a.zip", zip({{"b.zip", zip({{"c.zip", zip({{"d", "1"}})}, {"e", "2"}})}})}}));
  EXPECT_EQ(seen.end, "");
  EXPECT_EQ(seen.skipped["a.zip/b.zip/c.zip"], "packed more than 3 times");
  EXPECT_EQ(seen.files["a.zip/b.zip/e"], "2");

  seen = readPacked("large.tar", pack("ustar", {}, {{"a", longText(200000)}, {"b", "2"}}),
                    {.entryBytes = 100000});
  EXPECT_TRUE(seen.files["a"].ends_with("|a file in it is too large"));
  EXPECT_EQ(seen.files["b"], "2");
}

TEST(PackedFile, TellsOfDamageAndKeepsWhatCameBefore) {
  const std::string mail = longText(300000);
  const std::string cut = pack("raw", {"gzip"}, {{"x", mail}});
  Seen seen = readPacked("box.gz", cut.substr(0, cut.size() / 2));
  EXPECT_TRUE(seen.files["box"].starts_with(mail.substr(0, 60000)));
  EXPECT_NE(seen.files["box"].find('|'), std::string::npos);

  const std::string tar = pack("ustar", {}, {{"a", "first"}, {"b", mail}});
  seen = readPacked("all.tar", tar.substr(0, 100000));
  EXPECT_EQ(seen.files["a"], "first");
  EXPECT_NE(seen.files["b"].find('|'), std::string::npos);

  std::string changed = zip({{"a", "first"}, {"b", mail}, {"c", "last"}});
  changed[changed.size() / 2] ^= 1;
  seen = readPacked("all.zip", changed);
  EXPECT_EQ(seen.files["a"], "first");
  EXPECT_NE(seen.files["b"], mail);
  EXPECT_EQ(seen.files["c"], "last");

  seen = readPacked("locked.zip", pack("zip", {}, {{"a", "secret"}}, "word"));
  EXPECT_EQ(seen.skipped["a"], "it is encrypted");

  seen = readPacked("no.zip", "PK\x03\x04 and no more");
  EXPECT_NE(seen.end, "");
  EXPECT_TRUE(seen.files.empty());
}

}  // namespace
}  // namespace keldane
