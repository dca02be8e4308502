#pragma once

#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ingest/ledger/ledger_reader.h"
#include "ingest/reading/message_reader.h"
#include "tests/support/fake_environment.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

class TextLog : public StoreLog {
 public:
  void write(const std::string& line) override { text += line; }
  std::string text;
};

/// A reader with all that it stands on and a store that only keeps copies. The time zone is UTC and
/// it is the end of 2024.
class ReaderBench {
 protected:
  ReaderBench() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    environment.seconds = 1735689600;
    process.homePath = folder.path();
    EXPECT_TRUE(ledger.begin(folder / "run.ledger", "archive"));
  }

  /// A file of one message, below the folder, in the mailbox "box".
  void read(const std::string& name, const std::string& bytes) {
    reader.doOneEmail(folder.write(name, bytes) + ":::::box");
  }
  void readMbox(const std::string& name, const std::string& bytes) {
    reader.doMboxFile(folder.write(name, bytes) + ":::::box");
  }

  /// The lines so far as "outcome detail offset path", the path below the folder.
  [[nodiscard]] std::vector<std::string> ledgerLines() const {
    std::vector<std::string> lines;
    const auto read = forEachLedgerLine(ledger.path(), [&](const LedgerLine& line) {
      lines.push_back(std::string(outcomeName(line.outcome)) + " " + line.detail + " " +
                      (line.offsetBytes ? std::to_string(*line.offsetBytes) : "-") + " " +
                      line.path.substr(folder.path().size() + 1));
    });
    EXPECT_TRUE(read);
    return lines;
  }

  static std::vector<std::string> partNames(const CurrentMessage& message) {
    std::vector<std::string> names;
    for (const MessagePart& part : message.msgParts) {
      names.push_back(part.contentType + " " + part.fileName);
    }
    return names;
  }

  const TemporaryFolder folder;
  ScriptedSession session;
  ProcessState process;
  PassPlan plan = wholeDecades();
  CurrentMessage message;
  RunCounters counters;
  RunLedger ledger;
  FakeEnvironment environment;
  Progress progress;
  TextLog log;
  std::vector<CurrentMessage> stored;
  std::function<void(const CurrentMessage&)> onStore;

  [[nodiscard]] MessageReader::Context context() {
    return {.process = process,
            .plan = plan,
            .message = message,
            .counters = counters,
            .ledger = ledger,
            .environment = environment,
            .progress = progress,
            .storeLog = log,
            .debugLog = log,
            .storeEmail = [this](int partCount) { store(partCount); },
            .guarded = [this](const std::function<void()>& work) { guard(work); }};
  }
  MessageReader reader{context()};

 private:
  static PassPlan wholeDecades() {
    PassPlan plan;
    plan.range = {"2000-01-01 00:00:00", "2030-01-01 00:00:00"};
    plan.attachSizeBytes = 1600000;
    return plan;
  }
  void store(int partCount) {
    EXPECT_EQ(partCount, static_cast<int>(message.msgParts.size()));
    if (onStore) onStore(message);
    stored.push_back(message);
    ledger.close(LedgerOutcome::archived, "1");
  }
  void guard(const std::function<void()>& work) {
    try {
      work();
    } catch (const std::exception& error) {
      ledger.close(LedgerOutcome::failed, error.what());
    }
  }
};

}  // namespace keldane
