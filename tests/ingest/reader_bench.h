#pragma once

#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ingest/ledger/ledger_reader.h"
#include "ingest/reading/message_reader.h"
#include "platform/local_main_queue.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

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
  RecordingUserInterface ui;
  LocalMainQueue queue;
  ProcessState process;
  Progress quiet;
  ArchiveDatabase database{session, quiet, process};
  PreferencesFile prefs{folder / "preferences.plist"};
  std::unique_ptr<Settings> settings =
      std::make_unique<Settings>(session, database, prefs, ui, process);
  ArchiveSettings& archive = settings->archive;
  SourceSelection sources;
  CurrentMessage message;
  RunCounters counters;
  RunLedger ledger;
  RunRange range{"2000-01-01 00:00:00", "2030-01-01 00:00:00"};
  double attachSizeBytes = 1600000;
  FakeEnvironment environment;
  ProgressPanel progress{ui, queue};
  std::string log;
  std::vector<CurrentMessage> stored;
  std::function<void(const CurrentMessage&)> onStore;

  [[nodiscard]] MessageReader::Context context() {
    return {.process = process,
            .settings = archive,
            .sources = sources,
            .message = message,
            .counters = counters,
            .ledger = ledger,
            .range = range,
            .attachSizeBytes = attachSizeBytes,
            .environment = environment,
            .mainQueue = queue,
            .ui = ui,
            .progress = progress,
            .debugLog = [this](const std::string& line) { log += line; },
            .storeEmail = [this](int partCount) { store(partCount); },
            .storeLog = [this](const std::string& line) { log += line; },
            .guarded = [this](const std::function<void()>& work) { guard(work); }};
  }
  MessageReader reader{context()};

 private:
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
