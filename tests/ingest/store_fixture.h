#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "ingest/ledger/crash_recovery.h"
#include "ingest/storing/message_store.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

class RecordingStoreLog : public StoreLog {
 public:
  void write(const std::string& line) override { lines.push_back(line); }
  std::vector<std::string> lines;
};

/// An e-mail with all that a store step can write: two addresses, an HTML version, an attachment, a
/// text of it.
inline CurrentMessage fullMessage() {
  CurrentMessage message;
  message.msgDate = "2023-01-02 03:04:05";
  message.msgFrom = R"(Ann "A" \ <ann@example.org>)";
  message.msgTo = R"(Bob <bob@example.org>,"C" <carol@example.org>)";
  message.msgSubject = R"(On "quotes" \ and more)";
  message.msgMailbox = R"(V10/1/IN"BOX)";
  message.msgBody = "\n  A body of some length, größer als nötig.\nSecond line\n\n";
  message.msgOriginal =
      std::string("From: ann\nSubject: \"x\" \\\n\nA ") + '\0' + " body\n'; DROP TABLE email; --";
  message.msgHeadings = "From: ann\nSubject: \"x\" \\";
  message.msgAttachText = "text of \"a\" file\\";
  message.msgParts = {{"text/html", "htmlversion.html", "<p>A body</p>"},
                      {"application/pdf", "a \"b\".pdf", std::string("\0\x01\xff\"'\\", 6)}};
  message.hasHtmlPart = true;
  message.currentPath = "/mail/1.eml";
  return message;
}

inline CurrentMessage plainMessage(const std::string& body = "A plain body of some length") {
  CurrentMessage message;
  message.msgDate = "2023-01-02 03:04:05";
  message.msgFrom = "ann@example.org";
  message.msgTo = "bob@example.org";
  message.msgSubject = "Hello";
  message.msgMailbox = "INBOX";
  message.msgBody = body;
  message.msgOriginal = "From: ann@example.org\n\n" + body;
  message.msgHeadings = "From: ann@example.org";
  message.currentPath = "/mail/2.eml";
  return message;
}

/// The message with a content that differs from others'.
inline CurrentMessage saying(CurrentMessage message, const std::string& what) {
  message.contentSha256 = sha256(what);
  message.msgOriginal += what;
  message.origin.sha256 = sha256(message.msgOriginal);
  message.origin.path = message.currentPath;
  return message;
}

/// A store step with everything it needs, over any session, with a ledger in a folder of its own.
class StoreFixture {
 public:
  static constexpr const char* kDatabase = "mail@here";

  explicit StoreFixture(ServerSession& session) : session_(session) {}

  /// A new run: begins the ledger, with the greatest id as it is on the server.
  [[nodiscard]] Result<void> beginRun(std::uint32_t greatestId = 0) {
    ledger = std::make_unique<RunLedger>();
    LedgerStart start;
    start.database = kDatabase;
    start.greatestId = greatestId;
    const Result<void> begun = ledger->begin(ledgerPath(), start);
    repair = std::make_unique<CrashRecovery>(session_, *ledger, log, kDatabase);
    store = std::make_unique<MessageStore>(MessageStore::Context{
        .session = session_,
        .message = message,
        .counters = counters,
        .ledger = *ledger,
        .storeLog = log,
        .plan = plan,
        .duplicateLogText = duplicateLogText,
        .doConnect =
            [this] {
              ++reconnects;
              return true;
            },
        .moveOn = moveOn,
        .serverLost = [this](const std::string& error) { lostServer = error; },
        .repair = repair.get()});
    return begun;
  }

  void storeMessage(CurrentMessage next) {
    message = std::move(next);
    ledger->beginMessage(message.currentPath, std::nullopt);
    store->storeEmail(static_cast<int>(message.msgParts.size()));
  }

  void finishRun(bool serverIsLost = false) {
    repair->finish();
    ledger->finish(serverIsLost);
  }

  [[nodiscard]] std::string ledgerPath() const { return folder / "Ledger.log"; }

  CurrentMessage message;
  RunCounters counters;
  RecordingStoreLog log;
  PassPlan plan;
  SpooledText duplicateLogText;
  std::string lostServer;
  std::function<bool()> moveOn;  ///< of the next run; empty: one host
  int reconnects = 0;
  TemporaryFolder folder;
  std::unique_ptr<RunLedger> ledger;
  std::unique_ptr<CrashRecovery> repair;
  std::unique_ptr<MessageStore> store;

 private:
  ServerSession& session_;
};

}  // namespace keldane
