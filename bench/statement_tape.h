#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"

namespace keldane::bench {

/// Statements of a session, in order, in a file: what an archive run sends, with its bound values.
class StatementTape {
 public:
  explicit StatementTape(const std::string& path);
  ~StatementTape();
  StatementTape(const StatementTape&) = delete;
  StatementTape& operator=(const StatementTape&) = delete;

  void put(char kind, std::string_view bytes);
  bool running = false;

 private:
  std::FILE* file_;
};

/// A session that does what the one below it does and writes every statement to the tape while the
/// tape runs.
[[nodiscard]] std::unique_ptr<ServerSession> makeRecordingSession(
    std::unique_ptr<ServerSession> below, StatementTape& tape);

/// The statements of the tape that are texts of their own.
[[nodiscard]] std::vector<std::string> queriesOf(const std::string& path);
/// Sends a statement and reads its answer to the end.
void sendBare(ServerSession& session, const std::string& sql);

struct ReplayResult {
  struct Kind {
    std::uint64_t count = 0;
    double seconds = 0;
  };
  void add(std::string_view sql, double took);
  /// How many were sent.
  [[nodiscard]] std::uint64_t statements() const;

  double seconds = 0;
  std::map<std::string, Kind> kinds;  ///< by the statement's first words
  bool good = false;
};

/// Sends every statement of the tape and reads every answer to its end.
[[nodiscard]] ReplayResult replayTape(const std::string& path, ServerSession& session);

}  // namespace keldane::bench
