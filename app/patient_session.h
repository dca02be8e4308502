#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "archive/server_session.h"

namespace keldane {

/// A session that keeps a window alive: what the main thread asks of the server is sent by a thread
/// of its own, and the main thread, once that has lasted 300 ms, asks `goesOn` again and again,
/// which may run the event loop. When the user wants it to end, a second session ends the statement
/// on the server; it then fails with the server's words. A connect, which no server may ever
/// answer, is left alone instead: it goes on by itself on its thread, and ends there.
///
/// Only one call at a time: one that an event makes meanwhile fails at once, with an error that
/// says so. Calls of other threads (an archive run) go straight to the session below. Made and
/// destroyed on the main thread.
class PatientSession : public ServerSession {
 public:
  using MakeSession = std::function<std::unique_ptr<ServerSession>()>;
  /// All called on the main thread. None may use the session.
  struct Waiting {
    /// False: the user wants the statement to end, which is possible if `canEnd`.
    std::function<bool(bool canEnd)> goesOn;
    std::function<void()> over;  ///< behind a call for which `goesOn` was asked
    /// The server has turned out to be gone, or a session stands again.
    std::function<void(bool isLost)> lostChanged;
  };

  PatientSession(MakeSession makeSession, Waiting waiting);
  ~PatientSession() override;
  PatientSession(const PatientSession&) = delete;
  PatientSession& operator=(const PatientSession&) = delete;

  /// A call of the main thread is under way: whoever needs the session comes back later.
  [[nodiscard]] bool isWaiting() const { return waits_; }

  void init() override;
  [[nodiscard]] bool connect(const ServerAddress& address) override;
  void close() override;
  [[nodiscard]] bool query(const std::string& sql) override;
  [[nodiscard]] std::size_t largestStatementBytes() const override;
  [[nodiscard]] std::string error() const override;
  [[nodiscard]] unsigned errorNumber() const override;
  [[nodiscard]] bool selectDatabase(const std::string& name) override;
  [[nodiscard]] std::unique_ptr<ResultRows> storeResult() override;
  [[nodiscard]] std::unique_ptr<ResultRows> useResult() override;
  [[nodiscard]] std::uint64_t insertId() const override;
  [[nodiscard]] std::unique_ptr<ResultRows> listDatabases() override;
  [[nodiscard]] std::unique_ptr<Statement> makeStatement() override;
  [[nodiscard]] std::string encryption() const override;
  [[nodiscard]] std::optional<HostPlace> place() const override;
  [[nodiscard]] bool moveOn() override;

 private:
  friend class PatientStatement;

  /// Runs the call, on the worker if this is the main thread. False: refused, nothing was called.
  bool run(const std::function<void()>& call) { return send(call, false); }
  bool send(std::function<void()> call, bool canLeave);
  /// The same of a call that tells whether it went well.
  bool runChecked(const std::function<bool()>& call);
  [[nodiscard]] std::unique_ptr<ResultRows> rowsOf(
      std::unique_ptr<ResultRows> (ServerSession::*call)());
  /// A session with the thread that sends its statements.
  struct Line;
  [[nodiscard]] std::shared_ptr<Line> makeLine();
  static void work(const std::shared_ptr<Line>& line);
  [[nodiscard]] bool wait(std::unique_lock<std::mutex>& lock, bool canLeave);
  void identify();
  void endStatement();
  void noteLoss();
  void forgetId();
  [[nodiscard]] bool isRefused() const;

  const MakeSession makeSession_;
  const Waiting waiting_;
  const std::thread::id mainThread_;

  // The main thread's.
  bool waits_ = false;
  bool refused_ = false;  ///< the last call was not made
  bool left_ = false;     ///< the last call was left alone
  bool isLost_ = false;

  // Under the line's mutex, which is another one only after a call was left alone.
  ServerAddress address_;     ///< of the one host that has the session
  std::string connectionId_;  ///< the server's number of this session; empty: not known
  std::atomic<bool> hasMoved_ = false;
  std::shared_ptr<Line> line_;
};

/// Runs a task that is no statement on a thread of its own, while the main thread asks `goesOn` as
/// in a session's call. `cancelled`, for the task, is true once the user wants it to end.
void runPatiently(const PatientSession::Waiting& waiting,
                  const std::function<void(const std::function<bool()>& cancelled)>& task);

}  // namespace keldane
