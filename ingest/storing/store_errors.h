#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "archive/server_session.h"
#include "ingest/run_logs.h"

namespace keldane {

/// What goes wrong while one message is stored: writes the lines of the log, and keeps the first
/// failure that the message did not get over. Every line ends in the path of the file being read,
/// because that is what the user can look for. Worker thread only.
class StoreErrors {
 public:
  StoreErrors(ServerSession& session, StoreLog& storeLog,
              std::function<void(const std::string&)> serverLost);

  /// The next message; `label` must outlive it.
  void begin(const std::string& label);

  /// A failure that costs the message something. `head` is the line up to the server's text. Always
  /// false, so that a step can end with it.
  bool fail(std::string_view head);
  /// The same without the path.
  bool failWithoutLabel(std::string_view head);
  /// A failure that no later run will get over either.
  bool failForGood(std::string_view head, std::string_view reason);
  /// A failure that the step gets over.
  void note(std::string_view head);
  /// The same, for the system's log (standard error).
  void noteInSystemLog(std::string_view head);
  /// A failure that has its line elsewhere.
  void remember(std::string_view reason);

  /// The client's text for the last failure says that the server has gone, in the one form after
  /// which the insert is tried again.
  [[nodiscard]] bool serverHasGoneAway() const;

  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] const std::string& first() const { return first_; }
  /// Another run may store what this one could not.
  [[nodiscard]] bool worthAnotherTry() const { return worthAnotherTry_; }
  /// The link was lost at some point of this message.
  [[nodiscard]] bool lost() const { return lost_; }

 private:
  bool fail(std::string_view head, std::string_view reason, bool forGood);
  void keep(std::string_view reason, bool forGood);
  std::string serverText();

  ServerSession& session_;
  StoreLog& storeLog_;
  std::function<void(const std::string&)> serverLost_;
  const std::string* label_ = nullptr;
  std::string first_;
  bool failed_ = false;
  bool worthAnotherTry_ = false;
  bool lost_ = false;
};

}  // namespace keldane
