#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
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
  double seconds = 0;
  std::uint64_t statements = 0;
  bool good = false;
};

/// Sends every statement of the tape and reads every answer to its end.
[[nodiscard]] ReplayResult replayTape(const std::string& path, ServerSession& session);

}  // namespace keldane::bench
