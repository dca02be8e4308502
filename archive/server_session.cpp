#include "archive/server_session.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <mysql.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace keldane {
namespace {

constexpr unsigned long kClientFlags = 0;
constexpr const char* kInUse = "The archive run is using the connection.";
constexpr unsigned kPacketTooLarge = 1153;
constexpr const char* kPacketTooLargeText = "Got a packet bigger than 'max_allowed_packet' bytes";
/// What a packet holds beside the text, or beside each bound value.
constexpr std::size_t kPacketOverhead = 16;
/// A statement with its values is sent at once up to this size, and lies in memory once more.
constexpr std::size_t kAtOnceBytes = 1U << 20U;
constexpr std::string_view kLimitQuestion = "SELECT @@SESSION.max_allowed_packet";

const char* pointerOrNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

// The way to the server.

constexpr unsigned kTlsFailed = 2026;
constexpr unsigned kLoginNotTaken = 5010;  ///< not one of `kClosedLogins`
constexpr const char* kNoTlsText =
    "the server offers no encrypted session, and the connection asks for one (--tls)";

/// Ways to log in by which the password never goes over an open line: as a digest of it, or under
/// the server's key. Who stands in for the server may ask for others.
constexpr const char* kClosedLogins =
    "mysql_native_password,client_ed25519,caching_sha2_password,sha256_password,"
    "auth_gssapi_client,parsec";

/// The link of a local socket leaves no machine.
bool isLocalSocket(const ServerAddress& address) {
  const std::string host = address.host.value_or("");
  return host.empty() || host == "localhost";
}

/// Before the connect. Nothing here can fail: what the client does not know it passes over, and
/// what came of it is looked at behind the connect.
void setLinkOptions(MYSQL* handle, const ServerAddress& address, TlsMode tls) {
  // A server may ask for any file of this machine.
  const unsigned localFiles = 0;
  mysql_options(handle, MYSQL_OPT_LOCAL_INFILE, &localFiles);
  // The client looks at the certificate as soon as it knows of an authority.
  if (tls == TlsMode::verify && !address.tlsAuthority.empty()) {
    mysql_options(handle, MYSQL_OPT_SSL_CA, address.tlsAuthority.c_str());
  }
#ifdef MARIADB_PACKAGE_VERSION_ID
  if (tls != TlsMode::verify && !isLocalSocket(address)) {
    mysql_options(handle, MARIADB_OPT_RESTRICTED_AUTH, kClosedLogins);
  }
  const my_bool encrypts = tls == TlsMode::off ? 0 : 1;
  const my_bool verifies = tls == TlsMode::verify ? 1 : 0;
  mysql_options(handle, MYSQL_OPT_SSL_ENFORCE, &encrypts);
  mysql_options(handle, MYSQL_OPT_SSL_VERIFY_SERVER_CERT, &verifies);
#else
  constexpr std::array<unsigned, 4> kModes = {SSL_MODE_DISABLED, SSL_MODE_PREFERRED,
                                              SSL_MODE_REQUIRED, SSL_MODE_VERIFY_IDENTITY};
  mysql_options(handle, MYSQL_OPT_SSL_MODE, &kModes[static_cast<std::size_t>(tls)]);
#endif
}

/// The client's words for a failed handshake or login as a sentence; empty for any other failure.
std::string tlsRefusal(unsigned number, std::string_view words, const std::string& host) {
  if (number == kLoginNotTaken) {
    return "\"" + host +
           "\" asks for the password in a way that gives it away, which only a verified session "
           "may (--tls verify)";
  }
  if (number != kTlsFailed) return {};
  if (words.find("Validation of SSL server certificate failed") != std::string_view::npos) {
    return "the certificate of \"" + host + "\" is refused: it is made out to another name";
  }
  constexpr std::array<std::string_view, 2> kHeads = {"TLS/SSL error: ", "SSL connection error: "};
  for (const std::string_view head : kHeads) {
    if (words.starts_with(head)) words.remove_prefix(head.size());
  }
  constexpr std::array<std::string_view, 5> kOfCertificate = {"certificate", "Certificate",
                                                              "issuer", "Hostname", "hostname"};
  const bool isOfCertificate = std::any_of(
      kOfCertificate.begin(), kOfCertificate.end(),
      [words](std::string_view word) { return words.find(word) != std::string_view::npos; });
  if (isOfCertificate) {
    return "the certificate of \"" + host + "\" is refused: " + std::string(words);
  }
  if (words.find("required") != std::string_view::npos) return kNoTlsText;
  return "no encrypted session came about with \"" + host + "\": " + std::string(words);
}

class MysqlRows : public ResultRows {
 public:
  MysqlRows(MYSQL_RES* result, bool streamed)
      : result_(result), fieldCount_(mysql_num_fields(result)), streamed_(streamed) {}
  /// Frees the answer; of a streamed one, what is left of it is read and thrown away first.
  ~MysqlRows() override { mysql_free_result(result_); }
  MysqlRows(const MysqlRows&) = delete;
  MysqlRows& operator=(const MysqlRows&) = delete;

  bool next() override {
    row_ = mysql_fetch_row(result_);
    // The lengths come from the client and not from a cell of the row: a value may hold NULs, and a
    // server that names a wrong length must not make us read past the value.
    lengths_ = row_ == nullptr ? nullptr : mysql_fetch_lengths(result_);
    if (row_ != nullptr) ++fetched_;
    return row_ != nullptr;
  }

  [[nodiscard]] std::optional<std::string_view> cell(std::size_t column) const override {
    if (row_ == nullptr || lengths_ == nullptr || column >= fieldCount_) return std::nullopt;
    if (row_[column] == nullptr) return std::nullopt;
    return std::string_view(row_[column], lengths_[column]);
  }

  [[nodiscard]] std::size_t fieldCount() const override { return fieldCount_; }

  [[nodiscard]] std::uint64_t rowCount() const override {
    return streamed_ ? fetched_ : mysql_num_rows(result_);
  }

 private:
  MYSQL_RES* result_;
  MYSQL_ROW row_ = nullptr;
  const unsigned long* lengths_ = nullptr;
  std::size_t fieldCount_;
  std::uint64_t fetched_ = 0;
  bool streamed_;
};

std::unique_ptr<ResultRows> wrapResult(MYSQL_RES* result, bool streamed) {
  if (result == nullptr) return nullptr;
  return std::make_unique<MysqlRows>(result, streamed);
}

/// The longest statement that a session may send, and whether the last one was longer.
struct PacketLimit {
  std::size_t bytes = std::numeric_limits<std::size_t>::max();
  bool exceeded = false;

  bool takes(std::size_t statementBytes) {
    exceeded = statementBytes >= bytes - kPacketOverhead;
    return !exceeded;
  }
};

Ran runInSteps(Statement& statement, std::string_view sql, std::span<const BoundValue> values,
               const std::function<void()>& beforeIt) {
  if (!statement.prepare(sql)) return Ran::refusedText;
  if (!statement.bind(values)) return Ran::refusedValues;
  if (beforeIt) beforeIt();
  return statement.execute() ? Ran::done : Ran::refused;
}

class MysqlStatement : public DirectStatement {
 public:
  /// `limit` is the session's and outlives the statement.
  MysqlStatement(MYSQL_STMT* statement, PacketLimit& limit)
      : statement_(statement), limit_(limit) {}
  ~MysqlStatement() override { close(); }
  MysqlStatement(const MysqlStatement&) = delete;
  MysqlStatement& operator=(const MysqlStatement&) = delete;

  [[nodiscard]] bool prepare(std::string_view sql) override {
    return statement_ != nullptr && limit_.takes(sql.size()) &&
           mysql_stmt_prepare(statement_, sql.data(), sql.size()) == 0;
  }

  [[nodiscard]] bool bind(std::span<const BoundValue> values) override {
    // The client reads as many entries as the statement has parameters. Text quoted inline may have
    // brought parameters of its own, and then there would be too few.
    if (statement_ == nullptr || statement_->param_count != values.size()) return false;
    if (values.empty()) return true;
    fillBinds(values);
    return mysql_stmt_bind_param(statement_, binds_.data()) == 0;
  }

  [[nodiscard]] bool execute() override {
    return statement_ != nullptr && limit_.takes(boundBytes()) &&
           mysql_stmt_execute(statement_) == 0;
  }

  /// What is too large for one packet goes step by step, and so the step is told that the server's
  /// limit refuses.
  [[nodiscard]] Ran runAtOnce(std::string_view sql, std::span<const BoundValue> values,
                              const std::function<void()>& beforeIt) override {
#ifdef LIBMARIADB
    std::size_t bytes = sql.size();
    for (const BoundValue& value : values) bytes += value.bytes.size() + kPacketOverhead;
    const bool isFit = !values.empty() && bytes <= kAtOnceBytes && limit_.takes(bytes);
    if (statement_ == nullptr || !isFit) return runInSteps(*this, sql, values, beforeIt);
    fillBinds(values);
    auto count = static_cast<unsigned>(values.size());
    if (mysql_stmt_attr_set(statement_, STMT_ATTR_PREBIND_PARAMS, &count) != 0 ||
        mysql_stmt_bind_param(statement_, binds_.data()) != 0) {
      return Ran::refusedValues;
    }
    if (beforeIt) beforeIt();
    if (mariadb_stmt_execute_direct(statement_, sql.data(), sql.size()) == 0) return Ran::done;
    if (isLostConnection(mysql_stmt_error(statement_))) return Ran::refusedText;
    auto state = MYSQL_STMT_INITTED;
    mysql_stmt_attr_get(statement_, STMT_ATTR_STATE, &state);
    if (state >= MYSQL_STMT_PREPARED) return Ran::refused;
    // Nothing has been carried out. A link that was cut before has an error of its own here, by
    // which nobody knows it; the steps tell it, and what else is refused, as always.
    return runInSteps(*this, sql, values, {});
#else
    return runInSteps(*this, sql, values, beforeIt);
#endif
  }

  bool close() override {
    if (statement_ == nullptr) return true;
    return mysql_stmt_close(std::exchange(statement_, nullptr)) == 0;
  }

 private:
  void fillBinds(std::span<const BoundValue> values) {
    // The client is given pointers to the lengths, so both arrays live as long as the statement.
    binds_.assign(values.size(), MYSQL_BIND{});
    lengths_.assign(values.size(), 0);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const BoundValue& value = values[i];
      lengths_[i] = static_cast<unsigned long>(value.bytes.size());
      MYSQL_BIND& bind = binds_[i];
      // The client does not write through this pointer; its struct serves results as well. An empty
      // view may have no address, which the client would send as NULL.
      bind.buffer =
          value.bytes.empty() ? static_cast<void*>(&empty_) : const_cast<char*>(value.bytes.data());
      bind.buffer_length = lengths_[i];
      bind.length = &lengths_[i];
      bind.buffer_type = value.type == BindType::blob ? MYSQL_TYPE_LONG_BLOB : MYSQL_TYPE_STRING;
    }
  }

  [[nodiscard]] std::size_t boundBytes() const {
    std::size_t bytes = 0;
    for (const unsigned long length : lengths_) bytes += length + kPacketOverhead;
    return bytes;
  }

  MYSQL_STMT* statement_;
  PacketLimit& limit_;
  std::vector<MYSQL_BIND> binds_;
  std::vector<unsigned long> lengths_;
  char empty_ = 0;
};

class MysqlSession : public ServerSession {
 public:
  MysqlSession() = default;
  ~MysqlSession() override { closeHandle(); }
  MysqlSession(const MysqlSession&) = delete;
  MysqlSession& operator=(const MysqlSession&) = delete;

  void init() override {
    if (isOthers()) return;
    closeHandle();
    handle_ = mysql_init(nullptr);
  }

  [[nodiscard]] bool connect(const ServerAddress& address) override {
    if (!ready()) return false;
    const TlsMode tls = isLocalSocket(address) ? TlsMode::off : address.tls;
    if (!openLink(address, tls)) {
      // What is only preferred must not keep anybody out.
      if (tls != TlsMode::prefer || mysql_errno(handle_) != kTlsFailed) return false;
      closeHandle();
      if (!ready() || !openLink(address, TlsMode::off)) return false;
    }
    if (tls >= TlsMode::require && mysql_get_ssl_cipher(handle_) == nullptr) {
      // The client takes "require" for a wish.
      closeHandle();
      refusal_ = kNoTlsText;
      return false;
    }
    if (!address.otherHosts.empty()) noticeDeadLink();
    // What a client says of its text by itself depends on its make and version, down to Latin 1.
    // Servers before 5.5.3 know only the UTF-8 of three bytes.
    if (mysql_query(handle_, "SET NAMES utf8mb4") != 0) {
      static_cast<void>(mysql_query(handle_, "SET NAMES utf8"));
    }
    learnLimit();
    return true;
  }

  void close() override {
    if (!isOthers()) closeHandle();
  }

  [[nodiscard]] bool query(const std::string& sql) override {
    // A NUL in it ends the statement there: the client takes C strings.
    return ready() && limit_.takes(sql.size()) && mysql_query(handle_, sql.c_str()) == 0;
  }

  [[nodiscard]] std::size_t largestStatementBytes() const override {
    return limit_.bytes - kPacketOverhead;
  }

  [[nodiscard]] std::string error() const override {
    if (isOthers()) return kInUse;
    if (!refusal_.empty()) return refusal_;
    if (limit_.exceeded) return kPacketTooLargeText;
    return handle_ == nullptr ? std::string() : mysql_error(handle_);
  }

  [[nodiscard]] unsigned errorNumber() const override {
    if (!refusal_.empty()) return kTlsFailed;
    if (limit_.exceeded) return kPacketTooLarge;
    return handle_ == nullptr ? 0 : mysql_errno(handle_);
  }

  [[nodiscard]] bool selectDatabase(const std::string& name) override {
    return ready() && mysql_select_db(handle_, name.c_str()) == 0;
  }

  [[nodiscard]] std::unique_ptr<ResultRows> storeResult() override {
    return ready() ? wrapResult(mysql_store_result(handle_), false) : nullptr;
  }

  [[nodiscard]] std::unique_ptr<ResultRows> useResult() override {
    return ready() ? wrapResult(mysql_use_result(handle_), true) : nullptr;
  }

  [[nodiscard]] std::uint64_t insertId() const override {
    return handle_ == nullptr || isOthers() ? 0 : mysql_insert_id(handle_);
  }

  [[nodiscard]] std::unique_ptr<ResultRows> listDatabases() override {
    return ready() ? wrapResult(mysql_list_dbs(handle_, nullptr), false) : nullptr;
  }

  [[nodiscard]] std::string encryption() const override {
    const char* cipher = handle_ == nullptr || isOthers() ? nullptr : mysql_get_ssl_cipher(handle_);
    if (cipher == nullptr) return {};
    std::string text = cipher;
#ifdef MARIADB_PACKAGE_VERSION_ID
    const char* version = nullptr;
    mariadb_get_infov(handle_, MARIADB_CONNECTION_TLS_VERSION, &version);
    if (version != nullptr) text.insert(0, std::string(version) + ", ");
#endif
    return text;
  }

  [[nodiscard]] std::unique_ptr<Statement> makeStatement() override {
    MYSQL_STMT* statement = ready() ? mysql_stmt_init(handle_) : nullptr;
    if (statement == nullptr) return nullptr;
    return std::make_unique<MysqlStatement>(statement, limit_);
  }

 private:
  /// A call without a session goes to a fresh handle, so that the client itself says in `error`
  /// that there is no server: those who test for a lost link then find one.
  bool ready() {
    if (isOthers()) return false;
    limit_.exceeded = false;
    refusal_.clear();
    if (handle_ == nullptr) handle_ = mysql_init(nullptr);
    return handle_ != nullptr;
  }

  [[nodiscard]] bool openLink(const ServerAddress& address, TlsMode tls) {
    if (!address.otherHosts.empty()) {
      mysql_options(handle_, MYSQL_OPT_CONNECT_TIMEOUT, &kHostSeconds);
    }
    setLinkOptions(handle_, address, tls);
    if (mysql_real_connect(handle_, pointerOrNull(address.host), pointerOrNull(address.user),
                           pointerOrNull(address.password), pointerOrNull(address.database),
                           address.port, pointerOrNull(address.socket), kClientFlags) != nullptr) {
      return true;
    }
    refusal_ = tlsRefusal(mysql_errno(handle_), mysql_error(handle_), address.host.value_or(""));
    return false;
  }

  /// A host that loses its power or its cable says nothing more: the system asks it now and then,
  /// and ends the link when there is no answer. A statement that takes long is not touched.
  void noticeDeadLink() {
    const auto link = static_cast<int>(mysql_get_socket(handle_));
    const int on = 1;
    const int quietSeconds = 5;
    const int betweenSeconds = 2;
    const int most = 3;
    const unsigned unsentMs = 1000 * (kHostSeconds + 5);
    // On a local socket each of them fails, and none is needed.
    static_cast<void>(::setsockopt(link, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on));
#ifdef TCP_USER_TIMEOUT
    static_cast<void>(
        ::setsockopt(link, IPPROTO_TCP, TCP_KEEPIDLE, &quietSeconds, sizeof quietSeconds));
    static_cast<void>(
        ::setsockopt(link, IPPROTO_TCP, TCP_USER_TIMEOUT, &unsentMs, sizeof unsentMs));
#else
    static_cast<void>(
        ::setsockopt(link, IPPROTO_TCP, TCP_KEEPALIVE, &quietSeconds, sizeof quietSeconds));
#endif
    static_cast<void>(
        ::setsockopt(link, IPPROTO_TCP, TCP_KEEPINTVL, &betweenSeconds, sizeof betweenSeconds));
    static_cast<void>(::setsockopt(link, IPPROTO_TCP, TCP_KEEPCNT, &most, sizeof most));
  }

  void learnLimit() {
    limit_ = {};
    if (mysql_query(handle_, kLimitQuestion.data()) != 0) return;
    const auto rows = wrapResult(mysql_store_result(handle_), true);
    if (rows == nullptr || !rows->next()) return;
    const std::size_t bytes =
        std::strtoull(std::string(rows->cell(0).value_or("")).c_str(), nullptr, 10);
    if (bytes > kPacketOverhead) limit_.bytes = bytes;
  }

  void closeHandle() {
    limit_ = {};
    refusal_.clear();
    if (handle_ != nullptr) mysql_close(std::exchange(handle_, nullptr));
  }

  MYSQL* handle_ = nullptr;
  PacketLimit limit_;
  std::string refusal_;  ///< why the last connect came to no session that is safe; empty: it did
};

constexpr std::array<std::string_view, 9> kLostConnectionTexts = {
    "gone away",
    "Lost connection",
    "Can't connect to",
    "shutdown in progress",
    "was killed",
    "Connection was closed",
    "Server closed the connection",
    "disconnected by the server",
    "WSREP has not yet prepared",  // a node without its cluster
};

}  // namespace

Ran runStatement(Statement& statement, std::string_view sql, std::span<const BoundValue> values,
                 const std::function<void()>& beforeIt) {
  if (auto* direct = dynamic_cast<DirectStatement*>(&statement)) {
    return direct->runAtOnce(sql, values, beforeIt);
  }
  return runInSteps(statement, sql, values, beforeIt);
}

std::string fetchFirstCell(ServerSession& session) {
  const auto rows = session.storeResult();
  if (rows == nullptr || !rows->next()) return "0";
  const auto cell = rows->cell(0);
  return cell ? std::string(*cell) : std::string("0");
}

std::unique_ptr<ServerSession> makeMysqlSession() { return std::make_unique<MysqlSession>(); }

bool isLostConnection(std::string_view errorText) {
  for (const std::string_view text : kLostConnectionTexts) {
    if (errorText.find(text) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace keldane
