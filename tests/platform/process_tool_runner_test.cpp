#include "platform/process_tool_runner.h"

#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace keldane {
namespace {

ToolCall shell(const std::string& script, std::string input = "") {
  return {"sh", {"-c", script}, "", std::move(input)};
}

TEST(ProcessToolRunner, TellsStatusOutputAndErrors) {
  ProcessToolRunner runner;
  const Result<ToolOutcome> outcome = runner.run(shell("echo out; echo err >&2; exit 3"));
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->exitStatus, 3);
  EXPECT_EQ(outcome->output, "out\n");
  EXPECT_EQ(outcome->errorText, "err\n");
  EXPECT_EQ(runner.run(shell("kill -9 $$"))->exitStatus, 128 + SIGKILL);
}

TEST(ProcessToolRunner, PassesArgumentsAsTheyAreInTheFolderGiven) {
  const TemporaryFolder folder;
  ProcessToolRunner runner;
  const std::string odd = "a b;\"$HOME\" `id` *\n'";
  EXPECT_EQ(runner.run({"printf", {"%s|", odd, ""}, "", ""})->output, odd + "||");
  EXPECT_EQ(runner.run({"pwd", {"-P"}, folder.path(), ""})->output, folder.path() + "\n");
  EXPECT_FALSE(runner.run({"pwd", {}, folder / "missing", ""}));
  const Result<ToolOutcome> outcome = runner.run({"keldane-no-such-tool", {}, "", ""});
  ASSERT_FALSE(outcome);
  EXPECT_NE(outcome.error().find("keldane-no-such-tool"), std::string::npos);
}

TEST(ProcessToolRunner, CarriesMuchInputAndOutputAtOnce) {
  std::string input;
  while (input.size() < 8000000) input += "line " + std::to_string(input.size()) + "\n";
  ProcessToolRunner runner;
  const Result<ToolOutcome> outcome = runner.run(shell("tee /dev/stderr", input));
  ASSERT_TRUE(outcome);
  EXPECT_TRUE(outcome->output == input);
  EXPECT_TRUE(outcome->errorText == input);
}

TEST(ProcessToolRunner, CarriesPiecesWithoutHoldingThem) {
  constexpr int kPieces = 300;
  const std::string line(30000, 'x');
  int given = 0;
  std::size_t taken = 0;
  ToolCall call = shell("cat", "first ");
  call.nextInput = [&](std::string_view& piece) -> Result<bool> {
    piece = line;
    return given++ < kPieces;
  };
  call.takeOutput = [&](std::string_view piece) {
    taken += piece.size();
    return true;
  };
  ProcessToolRunner runner;
  const Result<ToolOutcome> outcome = runner.run(call);
  ASSERT_TRUE(outcome) << outcome.error();
  EXPECT_EQ(taken, 6 + kPieces * line.size());
  EXPECT_EQ(outcome->output, "");
}

TEST(ProcessToolRunner, EndsAProgramWhoseInputOutputOrUserFails) {
  ProcessToolRunner runner;
  ToolCall call = shell("cat");
  call.nextInput = [](std::string_view&) -> Result<bool> { return Failure{"the file is gone"}; };
  Result<ToolOutcome> outcome = runner.run(call);
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.error(), "the file is gone");
  call = shell("exec yes");
  call.takeOutput = [](std::string_view) { return false; };
  outcome = runner.run(call);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->exitStatus, 128 + SIGTERM);
  call = shell("exec tail -f /dev/null");
  call.cancelled = [] { return true; };
  outcome = runner.run(call);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->exitStatus, 128 + SIGTERM);
}

TEST(ProcessToolRunner, SurvivesAProgramThatReadsNoInputOrHasClosedItsOutput) {
  const TemporaryFolder folder;
  ProcessToolRunner runner;
  for (int i = 0; i < 20; ++i) {
    const Result<ToolOutcome> outcome = runner.run(shell("exit 0", std::string(1000000, 'x')));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitStatus, 0);
  }
  const std::string input(1000000, 'x');
  ASSERT_TRUE(runner.run(shell("exec cat >'" + (folder / "copy") + "' 2>&1", input)));
  EXPECT_EQ(folder.read("copy").size(), input.size());
}

TEST(ProcessToolRunner, DoesNotWaitForWhatTheProgramLeavesRunning) {
  // It outlives the time that the runner of the tests allows.
  ProcessToolRunner runner;
  const Result<ToolOutcome> outcome = runner.run(shell("sleep 1000 & echo started $!"));
  ASSERT_TRUE(outcome);
  ASSERT_TRUE(outcome->output.starts_with("started "));
  ::kill(std::stoi(outcome->output.substr(8)), SIGKILL);
}

TEST(ProcessToolRunner, StartsProgramsWithUsualSignals) {
  // A writer into a closed pipe must end, whatever this process does with the signal itself.
  const auto before = ::signal(SIGPIPE, SIG_IGN);
  ProcessToolRunner runner;
  const Result<ToolOutcome> outcome = runner.run(shell("kill -PIPE $$; echo still here"));
  ::signal(SIGPIPE, before);
  EXPECT_EQ(outcome->exitStatus, 128 + SIGPIPE);
}

TEST(ProcessToolRunner, LeavesNoDescriptorOpen) {
  ProcessToolRunner runner;
  const int before = ::dup(0);
  ::close(before);
  static_cast<void>(runner.run(shell("exit 0", "x")));
  static_cast<void>(runner.run({"keldane-no-such-tool", {}, "", "x"}));
  const int after = ::dup(0);
  ::close(after);
  EXPECT_EQ(before, after);
}

TEST(ProcessToolRunner, WorksWithoutStandardStreams) {
  const pid_t child = ::fork();
  if (child == 0) {
    for (const int stream : {0, 1, 2}) ::close(stream);
    ProcessToolRunner runner;
    const Result<ToolOutcome> outcome = runner.run(shell("cat; echo e >&2", "in"));
    ::_exit(outcome && outcome->output == "in" && outcome->errorText == "e\n" ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(ProcessToolRunner, StartsInASessionOfItsOwnOrSaysWhyNot) {
  const TemporaryFolder folder;
  ProcessToolRunner runner;
  folder.write("log", "before\n");
  const Result<int> child =
      runner.startDetached(shell("ps -o sid= -p $$; cat; echo err >&2"), folder / "log");
  ASSERT_TRUE(child);
  int status = -1;
  ASSERT_EQ(::waitpid(*child, &status, 0), *child);
  const std::string log = folder.read("log");
  EXPECT_TRUE(log.starts_with("before\n")) << log;
  EXPECT_NE(log.find(std::to_string(*child)), std::string::npos) << log;
  EXPECT_TRUE(log.ends_with("err\n")) << log;
  EXPECT_FALSE(runner.startDetached({"keldane-no-such-tool", {}, "", ""}, folder / "log"));
  EXPECT_FALSE(runner.startDetached(shell("exit 0"), folder / "missing/log"));
}

}  // namespace
}  // namespace keldane
