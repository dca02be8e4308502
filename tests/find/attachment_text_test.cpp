#include "find/attachment_text.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

std::string zipOf(const std::string& path, const std::string& content) {
  std::string bytes(content.size() + 4096, '\0');
  std::size_t used = 0;
  archive* zip = archive_write_new();
  archive_write_set_format_zip(zip);
  archive_write_open_memory(zip, bytes.data(), bytes.size(), &used);
  archive_entry* entry = archive_entry_new();
  archive_entry_set_pathname(entry, path.c_str());
  archive_entry_set_filetype(entry, AE_IFREG);
  archive_entry_set_size(entry, static_cast<la_int64_t>(content.size()));
  archive_write_header(zip, entry);
  archive_write_data(zip, content.data(), content.size());
  archive_entry_free(entry);
  archive_write_free(zip);
  bytes.resize(used);
  return bytes;
}

std::string outcomeOf(AttachmentText& texts, const char* name, const std::string& bytes) {
  const auto extracted = texts.extract("application/octet-stream", name, bytes);
  if (!extracted) return "failed: " + extracted.error();
  return *extracted ? (*extracted)->text : "none";
}

TEST(AttachmentText, ReadsOfficeFilesAndTellsWhatItCannotRead) {
  const TemporaryFolder folder;
  AttachmentText texts(folder.path() + "/");
  const std::string docx = zipOf("word/document.xml", "<w:p><w:t>Kost\u00FCme</w:t></w:p>");
  EXPECT_EQ(outcomeOf(texts, "a.docx", docx), " Kost\u00FCme \n\n");
  EXPECT_EQ(outcomeOf(texts, "a.ods", zipOf("content.xml", "<text:p>sum</text:p>")), " sum \n\n");
  EXPECT_EQ(outcomeOf(texts, "a.zip", docx), "none");
  EXPECT_EQ(outcomeOf(texts, "a.png", "\x89PNG"), "none");
  EXPECT_EQ(outcomeOf(texts, "a.docx", docx.substr(0, 60)), "failed: the file is damaged");
  EXPECT_EQ(outcomeOf(texts, "a.odt", zipOf("content.xml", "\x01\x02sealed")),
            "failed: the file has a password");
  EXPECT_EQ(outcomeOf(texts, "a.docx", "nothing of the kind").substr(0, 7), "failed:");
  const std::string sealed = std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1") +
                             std::string("E\0n\0c\0r\0y\0p\0t\0e\0d\0P\0a\0c\0k\0a\0g\0e\0", 32);
  EXPECT_EQ(outcomeOf(texts, "a.xlsx", sealed), "failed: the file has a password");
}

TEST(AttachmentText, GivesProgramsAFileOfItsOwnNameAlone) {
  const TemporaryFolder folder;
  LimitedCall seen;
  AttachmentText texts(folder.path() + "/", [&](const LimitedCall& call) -> Result<LimitedOutcome> {
    seen = call;
    EXPECT_TRUE(std::filesystem::exists(call.folder + "/document"));
    return LimitedOutcome{"text \xFF", true};
  });
  const auto extracted = texts.extract("application/pdf", "-x; rm $(y).pdf", "%PDF-1.4");
  ASSERT_TRUE(extracted && *extracted);
  EXPECT_EQ((*extracted)->text, "text \uFFFD");
  EXPECT_FALSE((*extracted)->remark.empty());
  EXPECT_EQ(seen.program, "pdftotext");
  for (const std::string& word : seen.arguments) EXPECT_EQ(word.find("rm"), std::string::npos);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(LimitedTool, EndsWhatTakesTooMuch) {
  const TemporaryFolder folder;
  struct Case {
    const char* name;
    const char* script;
    const char* outcome;
  };
  const std::vector<Case> cases = {
      {"well", "echo said; cat", "said\n"},
      {"failing", "exit 3", "failed: % failed with status 3"},
      {"never ending, with a child of its own", "sleep 600 & echo $! > child; sleep 600",
       "failed: % was stopped after 1 seconds"},
      {"output without end", "while :; do echo 0123456789; done", "0123456789\n0123456789\n01"},
      {"more memory than allowed", "x=$(head -c 200000000 /dev/zero | tr '\\0' x); echo ${#x}",
       "failed"},
      {"closes its output", "exec >&-; sleep 600", "failed: % was stopped after 1 seconds"},
  };
  for (const Case& one : cases) {
    LimitedCall call;
    call.program = folder.writeScript("tool", one.script);
    call.folder = folder.path();
    call.seconds = 1;
    call.memoryBytes = std::size_t{64} << 20U;
    call.outputBytes = 24;
    const auto outcome = runLimited(call);
    std::string text = outcome ? outcome->output : "failed: " + outcome.error();
    const std::size_t at = text.find(call.program);
    if (at != std::string::npos) text.replace(at, call.program.size(), "%");
    EXPECT_TRUE(text.starts_with(one.outcome)) << one.name << ": " << text;
  }
  const int child = std::atoi(folder.read("child").c_str());
  ASSERT_GT(child, 0);
  // Ended with its group; what inherits it may not have buried it yet.
  const auto isGone = [&] {
    std::ifstream stat("/proc/" + std::to_string(child) + "/stat");
    std::string text;
    std::getline(stat, text);
    return ::kill(child, 0) != 0 || text.find(") Z ") != std::string::npos;
  };
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!isGone() && std::chrono::steady_clock::now() < until) std::this_thread::yield();
  EXPECT_TRUE(isGone());
  LimitedCall missing;
  missing.program = "keldane-no-such-tool";
  EXPECT_EQ(runLimited(missing).error(), "keldane-no-such-tool is not installed");
}

}  // namespace
}  // namespace keldane
