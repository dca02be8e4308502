#include "mime/buffers/log_base.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/xstring.h"
#include "mime/cls_base.h"

namespace keldane::mime {
namespace {

std::string textOf(const LogBase& log) {
  StringBuffer out;
  log.getText(out);
  return std::string(out.view());
}

TEST(Log, ErrorsStandUnderTheContextsThatWereOpen) {
  _tnLogger log;
  {
    const LogContextExitor outer(log, "loadMime");
    { const LogContextExitor quiet(log, "nothingHappensHere"); }
    {
      const LogContextExitor inner(log, "parseMimeBody");
      log.LogError("No boundary.");
      log.LogDataLong("n", 7);
    }
    log.LogError("Second.");
  }
  log.LogError("Outside.");
  EXPECT_EQ(textOf(log),
            "loadMime:\n"
            "    parseMimeBody:\n"
            "        No boundary.\n"
            "        n: 7\n"
            "    --parseMimeBody\n"
            "    Second.\n"
            "--loadMime\n"
            "Outside.\n");
}

TEST(Log, VerboseGatesInfoAndContextsStayInOrder) {
  _tnLogger log;
  log.LogInfo("not wanted");
  EXPECT_EQ(textOf(log), "");
  log.setVerbose(true);
  const LogContextExitor a(log, "a");
  const LogContextExitor b(log, "b");
  log.EnterContext("c", true);
  log.LogInfo("wanted");
  log.LeaveContext();
  EXPECT_EQ(textOf(log), "a:\n    b:\n        c:\n            wanted\n        --c\n");
}

TEST(Log, NullLoggingRecordsNothing) {
  _tnLogger log;
  log.setVerbose(true);
  log.setNullLogging(true);
  EXPECT_FALSE(log.verbose());
  log.LogError("x");
  log.LogDataHex("h", "\x01", 1);
  EXPECT_EQ(textOf(log), "");
}

TEST(Log, OtherFormsAndTheDebugFile) {
  const std::string path = ::testing::TempDir() + "/keldane_log_test.txt";
  std::remove(path.c_str());
  _tnLogger log;
  log.setDebugLogFilePath(path);
  log.EnterContext("c\"<", true);
  log.LogDataHex("hex", "\x01\xAB", 2);
  log.LogDataQP("qp", "a=\xE9");
  log.LogDataBool("flag", true);
  StringBuffer out;
  log.getXml(out);
  EXPECT_EQ(out.view(),
            "<log><context name=\"c&quot;&lt;\"><info name=\"hex\">01AB</info>"
            "<info name=\"qp\">a=3D=E9</info><info name=\"flag\">true</info></context></log>");
  log.getHtml(out);
  EXPECT_TRUE(out.beginsWith("<pre>c&quot;&lt;:"));
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  std::remove(path.c_str());
  EXPECT_EQ(content.str(), "c\"<:\n    hex: 01AB\n    qp: a=3D=E9\n    flag: true\n");
}

class Sample : public ClsBase {
 public:
  bool doIt(bool outcome) {
    ClsCall call(*this, "doIt");
    if (!call.ok()) return false;
    call.log().LogInfo("detail");
    if (!outcome) call.log().LogError("It did not work");
    return call.finish(outcome);
  }
  static int alive;
  Sample() { ++alive; }

 private:
  ~Sample() override { --alive; }
};
int Sample::alive = 0;

TEST(ClsBase, EachCallStartsAFreshLogAndEndsWithItsOutcome) {
  const ClsRef<Sample> sample(new Sample);
  EXPECT_FALSE(sample->doIt(false));
  StringBuffer text;
  sample->get_LastErrorText(text);
  EXPECT_TRUE(text.beginsWith("doIt:\n    TarnellVersion: "));
  EXPECT_TRUE(text.endsWith("    It did not work\n    Failed.\n--doIt\n"));
  EXPECT_FALSE(sample->get_LastMethodSuccess());
  EXPECT_TRUE(sample->doIt(true));
  sample->get_LastErrorText(text);
  EXPECT_FALSE(text.containsSubstring("It did not work"));
  EXPECT_FALSE(text.containsSubstring("detail"));
  EXPECT_TRUE(text.endsWith("    Success.\n--doIt\n"));
  sample->put_VerboseLogging(true);
  sample->doIt(true);
  sample->get_LastErrorText(text);
  EXPECT_TRUE(text.containsSubstring("    detail\n"));
}

TEST(ClsBase, ADeletedObjectRefusesCalls) {
  auto* sample = new Sample;
  sample->incRefCount();
  sample->deleteObject();
  EXPECT_EQ(Sample::alive, 1);
  EXPECT_FALSE(sample->doIt(true));
  sample->deleteObject();  // Once more does no harm.
  sample->decRefCount();
  EXPECT_EQ(Sample::alive, 0);
}

TEST(ClsBase, BytesToText) {
  const ClsRef<Sample> sample(new Sample);
  LogNull log;
  DataBuffer bytes;
  bytes.append("\xEF\xBB\xBF\xE9", 4);
  XString text;
  EXPECT_TRUE(sample->dbToXString_cp(65001, bytes, text, log));
  EXPECT_EQ(text.utf8View(), "\xE9");
  bytes.removeFromStart(3);
  EXPECT_TRUE(sample->dbToXString_cp(1252, bytes, text, log));
  EXPECT_EQ(text.utf8View(), "\xC3\xA9");
  EXPECT_FALSE(sample->dbToXString_cp(777, bytes, text, log));
}

}  // namespace
}  // namespace keldane::mime
