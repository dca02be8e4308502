#pragma once

#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "archive/server_session.h"

namespace keldane {

/// A session without a server, for what a server does not do on demand: it writes down every call
/// and answers as a test has laid out. What nobody has laid out succeeds, with an empty answer.
///
/// The calls read
///   init | close | connect HOST USER PASSWORD DATABASE SOCKET PORT (- for a null pointer)
///   query SQL | select NAME | list
///   prepare SQL | bind text:VALUE blob:VALUE ... | execute | closeStatement
class ScriptedSession : public ServerSession {
 public:
  using Row = std::vector<std::optional<std::string>>;

  /// The next `times` calls whose line matches the pattern (`*`: any characters) fail with this
  /// error; -1: all of them. Of several patterns that match, the one laid out last is taken.
  void failOn(const std::string& pattern, const std::string& error, int times = -1,
              unsigned number = 0);
  /// Rows that matching queries answer with.
  void answerOn(const std::string& pattern, std::vector<Row> rows, int times = -1);

  void init() override { note("init"); }
  [[nodiscard]] bool connect(const ServerAddress& address) override;
  void close() override { note("close"); }
  [[nodiscard]] bool query(const std::string& sql) override;
  [[nodiscard]] std::string error() const override { return error_; }
  [[nodiscard]] unsigned errorNumber() const override { return errorNumber_; }
  [[nodiscard]] bool selectDatabase(const std::string& name) override;
  [[nodiscard]] std::unique_ptr<ResultRows> storeResult() override;
  [[nodiscard]] std::unique_ptr<ResultRows> useResult() override { return storeResult(); }
  [[nodiscard]] std::uint64_t insertId() const override { return lastInsertId; }
  [[nodiscard]] std::unique_ptr<ResultRows> listDatabases() override;
  [[nodiscard]] std::unique_ptr<Statement> makeStatement() override;

  /// The statements sent as text, in order.
  [[nodiscard]] std::vector<std::string> statements() const;

  std::vector<std::string> calls;
  [[nodiscard]] std::size_t largestStatementBytes() const override { return mostBytes; }

  std::uint64_t lastInsertId = 0;
  std::size_t mostBytes = std::numeric_limits<std::size_t>::max();
  /// The next calls of `makeStatement` give nothing, with this error.
  std::deque<std::string> statementFailures;
  /// Queries after which there is no answer to be had although they succeeded.
  std::vector<std::string> withoutResult;

 private:
  friend class ScriptedStatement;
  struct Rule {
    std::string pattern;
    std::string error;
    std::vector<Row> rows;
    int times = -1;
    bool fails = false;
    unsigned number = 0;
  };

  void note(std::string line) { calls.push_back(std::move(line)); }
  /// Writes the call down and plays it: false when it has to fail.
  [[nodiscard]] bool play(const std::string& line);

  std::vector<Rule> rules_;
  std::string error_;
  unsigned errorNumber_ = 0;
  std::string lastSql_;
  std::vector<Row> answer_;
};

/// A first base of rigs whose other base takes a session.
struct OwnScript {
  ScriptedSession scripted;
};

}  // namespace keldane
