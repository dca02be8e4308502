#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "app/progress_panel.h"
#include "app/settings.h"
#include "ingest/current_message.h"
#include "ingest/mail_sources.h"
#include "ingest/message_date.h"
#include "ingest/message_file.h"
#include "ingest/partial_file.h"
#include "ingest/run_counters.h"
#include "ingest/run_ledger.h"
#include "ingest/strip_plist.h"
#include "mime/tno_email.h"
#include "mime/tno_mime.h"
#include "platform/environment.h"
#include "platform/main_queue.h"
#include "platform/user_interface.h"

namespace keldane {

/// Turns one file of the walk into messages ready to store: one `.emlx` or `.eml` file, or an mbox
/// cut piece by piece. Decides what is a message, which date it has and which attachments come
/// along, and tells the ledger of each message that goes no further. Worker thread only.
///
/// In memory is one message at a time; of a huge one, its source, one tree of its parts, and what
/// the store is to have of it.
class MessageReader {
 public:
  struct Context {
    ProcessState& process;
    const ArchiveSettings& settings;
    SourceSelection& sources;
    CurrentMessage& message;
    RunCounters& counters;
    RunLedger& ledger;
    const RunRange& range;
    const double& attachSizeBytes;
    Environment& environment;
    MainQueue& mainQueue;
    UserInterface& ui;
    ProgressPanel& progress;
    /// Writes the path of a file read, with a line end, and flushes. Called while `debugLogOn` is
    /// set.
    std::function<void(const std::string& line)> debugLog;
    /// Stores the message at hand, which has this many parts.
    std::function<void(int partCount)> storeEmail;
    /// A line for the run's log, with its line end: a file or a piece of one cannot be read. May be
    /// empty.
    std::function<void(const std::string& line)> storeLog = {};
    /// Runs the work on one message and deals with what it throws, the ledger's line included.
    /// Empty: the work is run as it is.
    std::function<void(const std::function<void()>& work)> guarded = {};
    /// The program ends: true stops a file of many messages before its next one. May be empty.
    std::function<bool()> isLetGo = {};
    /// UTF-16 units of the longest source that goes further.
    std::size_t mostUnits = 200000000;
  };

  explicit MessageReader(Context context) : context_(std::move(context)) {}

  /// Reads `currentEmailItem` (path, five colons, mailbox) as one message file. 0 when it is not a
  /// file to read, else 1.
  int doOneEmail(const std::string& currentEmailItem);
  /// The same for a file of many messages. They are stored under the file's path.
  int doMboxFile(const std::string& currentEmailItem);

 private:
  void readOneMessage(const EmailItem& item);
  void readSeveral(const EmailItem& item);
  void readMessage(std::string text, const std::string& mailbox);
  /// The reason for which the message goes no further, if there is one.
  [[nodiscard]] std::optional<std::string_view> fillMessage(std::string text,
                                                            const std::string& mailbox);
  void loadEmail();
  void fillAddresses();
  [[nodiscard]] std::optional<std::string_view> fillDate();
  [[nodiscard]] bool fillBodies();
  void copyHtml();
  void showProgress();
  void showOversized();
  void releaseLargeMessage();
  void dropUnreadable(const std::string& reason);
  void guarded(const std::function<void()>& work);
  [[nodiscard]] std::string accountMailbox(const std::string& mailbox) const;
  [[nodiscard]] bool isLetGo() const { return context_.isLetGo && context_.isLetGo(); }

  Context context_;
  PartialFile partial_;
  // Optional only so that what they hold can be given back.
  std::optional<mime::TnoMime> mime_{std::in_place};
  std::optional<mime::TnoEmail> email_{std::in_place};
  bool hasPlainBody_ = false;
  std::optional<std::string> dateField_;
  std::optional<std::string> receivedField_;
};

}  // namespace keldane
