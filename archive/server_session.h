#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "archive/host_list.h"

namespace keldane {

/// How a session that leaves the machine is encrypted.
enum class TlsMode {
  off,
  prefer,   ///< where the server offers it; whoever stands between can do without
  require,  ///< or no session; the server's certificate is not looked at
  verify,   ///< and the certificate must be of a known authority, and for this host
};

/// Where to connect. A missing text is a null pointer to the client library: its own default.
struct ServerAddress {
  std::optional<std::string> host;
  std::optional<std::string> user;
  std::optional<std::string> password;
  std::optional<std::string> database;
  std::optional<std::string> socket;
  unsigned port = 0;                       ///< 0: the client's default
  std::vector<HostPlace> otherHosts = {};  ///< of the same cluster, in the order of their use
  TlsMode tls = TlsMode::prefer;           ///< a local socket does without
  std::string tlsAuthority = {};  ///< PEM file of the authorities; empty: those of the system
};

/// Rows of one answer of the server. Freed with the object, before the next statement in the case
/// of a streamed result.
class ResultRows {
 public:
  virtual ~ResultRows() = default;
  /// Steps to the next row; false after the last one.
  virtual bool next() = 0;
  /// A cell of the present row, as bytes; nullopt for NULL or a column that is not there. Valid
  /// until the next call of `next`.
  [[nodiscard]] virtual std::optional<std::string_view> cell(std::size_t column) const = 0;
  [[nodiscard]] virtual std::size_t fieldCount() const = 0;
  /// Number of rows; of a streamed result, of those fetched so far.
  [[nodiscard]] virtual std::uint64_t rowCount() const = 0;
};

enum class BindType { text, blob };

/// One bound parameter. The bytes must live until the statement has been executed.
struct BoundValue {
  std::string_view bytes;
  BindType type = BindType::text;
};

/// A prepared statement; closed with the object when it has not been closed before.
class Statement {
 public:
  virtual ~Statement() = default;
  [[nodiscard]] virtual bool prepare(std::string_view sql) = 0;
  [[nodiscard]] virtual bool bind(std::span<const BoundValue> values) = 0;
  [[nodiscard]] virtual bool execute() = 0;
  virtual bool close() = 0;
};

/// How far a statement has come.
enum class Ran { refusedText, refusedValues, refused, done };

/// A statement of a client that can send text and values at once, without waiting for an answer to
/// each.
class DirectStatement : public Statement {
 public:
  /// See `runStatement`.
  [[nodiscard]] virtual Ran runAtOnce(std::string_view sql, std::span<const BoundValue> values,
                                      const std::function<void()>& beforeIt) = 0;
};

/// Prepares, binds and executes: at once where the client can, else in three steps. `beforeIt` is
/// called before the server may carry it out; may be empty. A server that is lost while all of it
/// is under way is told as `refusedText`: what it has done is then not known.
[[nodiscard]] Ran runStatement(Statement& statement, std::string_view sql,
                               std::span<const BoundValue> values,
                               const std::function<void()>& beforeIt = {});

/// The one session of the process with its MySQL server. Thin: every call is one call of the client
/// library, and nothing is retried. One thread at a time: an archive run takes the session with a
/// `SessionClaim`, and calls of other threads fail until it is gone, with an error that says so.
class ServerSession {
 public:
  virtual ~ServerSession() = default;
  /// The thread that alone may use the session; none: any. Returns the one before. From a
  /// `SessionClaim` only.
  std::thread::id setOwner(std::thread::id owner) { return owner_.exchange(owner); }
  virtual void init() = 0;
  [[nodiscard]] virtual bool connect(const ServerAddress& address) = 0;
  virtual void close() = 0;
  /// Sends one statement as text, without a copy: it may hold the source of a huge message. False:
  /// `error` tells why. One that is longer than the server takes is refused without being sent:
  /// the server would cut the link instead of answering.
  [[nodiscard]] virtual bool query(const std::string& sql) = 0;
  /// The longest statement that the server takes from this session.
  [[nodiscard]] virtual std::size_t largestStatementBytes() const {
    return std::numeric_limits<std::size_t>::max();
  }
  /// The client library's text for the last failure, empty when there was none.
  [[nodiscard]] virtual std::string error() const = 0;
  /// The client library's number for it; 0 when there was none.
  [[nodiscard]] virtual unsigned errorNumber() const = 0;
  [[nodiscard]] virtual bool selectDatabase(const std::string& name) = 0;
  /// The answer of the last statement, fetched whole; null when it has none.
  [[nodiscard]] virtual std::unique_ptr<ResultRows> storeResult() = 0;
  /// The same, row by row from the server. No other statement may run until it is gone.
  [[nodiscard]] virtual std::unique_ptr<ResultRows> useResult() = 0;
  [[nodiscard]] virtual std::uint64_t insertId() const = 0;
  /// Names of the server's databases.
  [[nodiscard]] virtual std::unique_ptr<ResultRows> listDatabases() = 0;
  /// Null when memory runs out.
  [[nodiscard]] virtual std::unique_ptr<Statement> makeStatement() = 0;

  /// Version and cipher by which the session is encrypted, as in "TLSv1.3,
  /// TLS_AES_256_GCM_SHA384"; empty when it is not.
  [[nodiscard]] virtual std::string encryption() const { return {}; }
  /// Where the session stands, when its address names several hosts.
  [[nodiscard]] virtual std::optional<HostPlace> place() const { return std::nullopt; }
  /// Leaves a server that is lost for another host of the address, with the database and the values
  /// of the session. False: there is no other, or none takes it.
  [[nodiscard]] virtual bool moveOn() { return false; }
  /// When nobody knows whether a statement that wrote has been carried out, the session stays lost
  /// until `moveOn`, so that whoever can find out does so first. Else it moves on by itself.
  bool waitsWhenUnsure = false;
  /// Told in a sentence when the session has moved on, by the thread that uses it. May be empty.
  std::function<void(const std::string& line)> notice;

 protected:
  [[nodiscard]] bool isOthers() const {
    const std::thread::id owner = owner_;
    return owner != std::thread::id() && owner != std::this_thread::get_id();
  }

 private:
  std::atomic<std::thread::id> owner_;
};

/// While it lives, the session is its thread's alone. Within the claim of a thread that waits, the
/// thread that it waits for takes the session over with a claim of its own. Made and gone on one
/// thread; made while another thread uses the session, it does not stop that.
class SessionClaim {
 public:
  explicit SessionClaim(ServerSession& session)
      : session_(session), before_(session.setOwner(std::this_thread::get_id())) {}
  ~SessionClaim() { session_.setOwner(before_); }
  SessionClaim(const SessionClaim&) = delete;
  SessionClaim& operator=(const SessionClaim&) = delete;

 private:
  ServerSession& session_;
  const std::thread::id before_;
};

/// First cell of the first row of the last answer; "0" when there is no row or the cell is NULL.
[[nodiscard]] std::string fetchFirstCell(ServerSession& session);

/// Seconds that a host which is one of several gets to answer.
inline constexpr unsigned kHostSeconds = 5;

/// A session over the MySQL or MariaDB C client. Of the address it takes the first host.
[[nodiscard]] std::unique_ptr<ServerSession> makeMysqlSession();

/// Whether an error text of the client says that the server has gone or the link is cut.
[[nodiscard]] bool isLostConnection(std::string_view errorText);

}  // namespace keldane
