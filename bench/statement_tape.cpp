#include "bench/statement_tape.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace keldane::bench {
namespace {

constexpr char kQuery = 'Q';
constexpr char kPrepare = 'P';
constexpr char kText = 'T';
constexpr char kBlob = 'L';
constexpr char kExecute = 'X';

class RecordingStatement : public Statement {
 public:
  RecordingStatement(std::unique_ptr<Statement> below, StatementTape& tape)
      : below_(std::move(below)), tape_(tape) {}
  bool prepare(std::string_view sql) override {
    tape_.put(kPrepare, sql);
    return below_->prepare(sql);
  }
  bool bind(std::span<const BoundValue> values) override {
    for (const BoundValue& value : values) {
      tape_.put(value.type == BindType::blob ? kBlob : kText, value.bytes);
    }
    return below_->bind(values);
  }
  bool execute() override {
    tape_.put(kExecute, "");
    return below_->execute();
  }
  bool close() override { return below_->close(); }

 private:
  std::unique_ptr<Statement> below_;
  StatementTape& tape_;
};

class RecordingSession : public ServerSession {
 public:
  RecordingSession(std::unique_ptr<ServerSession> below, StatementTape& tape)
      : below_(std::move(below)), tape_(tape) {}
  void init() override { below_->init(); }
  bool connect(const ServerAddress& address) override { return below_->connect(address); }
  void close() override { below_->close(); }
  bool query(const std::string& sql) override {
    tape_.put(kQuery, sql);
    return below_->query(sql);
  }
  unsigned errorNumber() const override { return below_->errorNumber(); }
  std::string error() const override { return below_->error(); }
  bool selectDatabase(const std::string& name) override { return below_->selectDatabase(name); }
  std::unique_ptr<ResultRows> storeResult() override { return below_->storeResult(); }
  std::unique_ptr<ResultRows> useResult() override { return below_->useResult(); }
  std::uint64_t insertId() const override { return below_->insertId(); }
  std::unique_ptr<ResultRows> listDatabases() override { return below_->listDatabases(); }
  std::unique_ptr<Statement> makeStatement() override {
    auto below = below_->makeStatement();
    if (!below) return below;
    return std::make_unique<RecordingStatement>(std::move(below), tape_);
  }

 private:
  std::unique_ptr<ServerSession> below_;
  StatementTape& tape_;
};

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// One record of the tape; false at its end.
bool readRecord(std::FILE* file, char& kind, std::string& bytes) {
  std::uint64_t size = 0;
  if (std::fread(&kind, 1, 1, file) != 1 || std::fread(&size, sizeof size, 1, file) != 1) {
    return false;
  }
  bytes.resize(size);
  return std::fread(bytes.data(), 1, size, file) == size;
}

}  // namespace

StatementTape::StatementTape(const std::string& path) : file_(std::fopen(path.c_str(), "wb")) {
  if (file_ == nullptr) {
    std::perror(path.c_str());
    std::exit(1);
  }
}

StatementTape::~StatementTape() { std::fclose(file_); }

void StatementTape::put(char kind, std::string_view bytes) {
  if (!running) return;
  const std::uint64_t size = bytes.size();
  std::fwrite(&kind, 1, 1, file_);
  std::fwrite(&size, sizeof size, 1, file_);
  std::fwrite(bytes.data(), 1, bytes.size(), file_);
}

std::unique_ptr<ServerSession> makeRecordingSession(std::unique_ptr<ServerSession> below,
                                                    StatementTape& tape) {
  return std::make_unique<RecordingSession>(std::move(below), tape);
}

std::vector<std::string> queriesOf(const std::string& path) {
  std::vector<std::string> queries;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return queries;
  char kind = 0;
  std::string bytes;
  while (readRecord(file, kind, bytes)) {
    if (kind == kQuery) queries.push_back(bytes);
  }
  std::fclose(file);
  return queries;
}

void sendBare(ServerSession& session, const std::string& sql) {
  if (!session.query(sql)) return;
  if (const auto rows = session.storeResult()) {
    while (rows->next()) {
    }
  }
}

void ReplayResult::add(std::string_view sql, double took) {
  constexpr int kWords = 3;
  std::size_t end = 0;
  for (int word = 0; word < kWords && end != std::string_view::npos; ++word) {
    end = sql.find_first_of(" (", end + 1);
  }
  Kind& kind = kinds[std::string(sql.substr(0, end))];
  ++kind.count;
  kind.seconds += took;
}

std::uint64_t ReplayResult::statements() const {
  std::uint64_t count = 0;
  for (const auto& [words, kind] : kinds) count += kind.count;
  return count;
}

ReplayResult replayTape(const std::string& path, ServerSession& session) {
  ReplayResult result;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return result;
  char kind = 0;
  std::string bytes;
  std::string sql;
  std::vector<std::string> held;
  std::vector<BindType> types;
  const auto start = Clock::now();
  while (readRecord(file, kind, bytes)) {
    const auto sent = Clock::now();
    if (kind == kQuery) {
      sendBare(session, bytes);
      result.add(bytes, secondsSince(sent));
    } else if (kind == kPrepare) {
      sql = std::move(bytes);
      held.clear();
      types.clear();
    } else if (kind == kText || kind == kBlob) {
      held.push_back(std::move(bytes));
      types.push_back(kind == kBlob ? BindType::blob : BindType::text);
    } else if (kind == kExecute) {
      std::vector<BoundValue> values;
      for (std::size_t i = 0; i < held.size(); ++i) values.push_back({held[i], types[i]});
      const auto statement = session.makeStatement();
      if (!statement || runStatement(*statement, sql, values) != Ran::done) {
        std::fprintf(stderr, "replay: %s\n", session.error().c_str());
      }
      if (statement) statement->close();
      result.add(sql, secondsSince(sent));
    }
  }
  result.seconds = secondsSince(start);
  result.good = !result.kinds.empty();
  std::fclose(file);
  return result;
}

}  // namespace keldane::bench
