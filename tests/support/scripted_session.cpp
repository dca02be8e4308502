#include "tests/support/scripted_session.h"

#include <algorithm>

#include "base/text.h"

namespace keldane {
namespace {

class ScriptedRows : public ResultRows {
 public:
  explicit ScriptedRows(std::vector<ScriptedSession::Row> rows) : rows_(std::move(rows)) {}
  bool next() override {
    if (position_ > rows_.size()) return false;
    return ++position_ <= rows_.size();
  }
  [[nodiscard]] std::optional<std::string_view> cell(std::size_t column) const override {
    if (position_ == 0 || position_ > rows_.size()) return std::nullopt;
    const ScriptedSession::Row& row = rows_[position_ - 1];
    if (column >= row.size() || !row[column]) return std::nullopt;
    return std::string_view(*row[column]);
  }
  [[nodiscard]] std::size_t fieldCount() const override {
    return rows_.empty() ? 0 : rows_.front().size();
  }
  [[nodiscard]] std::uint64_t rowCount() const override { return rows_.size(); }

 private:
  std::vector<ScriptedSession::Row> rows_;
  std::size_t position_ = 0;
};

std::string shown(const std::optional<std::string>& text) { return text.value_or("-"); }

}  // namespace

class ScriptedStatement : public Statement {
 public:
  explicit ScriptedStatement(ScriptedSession& session) : session_(session) {}
  [[nodiscard]] bool prepare(std::string_view sql) override {
    return session_.play("prepare " + std::string(sql));
  }
  [[nodiscard]] bool bind(std::span<const BoundValue> values) override {
    std::string line = "bind";
    for (const BoundValue& value : values) {
      line += value.type == BindType::blob ? " blob:" : " text:";
      line += value.bytes;
    }
    return session_.play(line);
  }
  [[nodiscard]] bool execute() override { return session_.play("execute"); }
  bool close() override { return session_.play("closeStatement"); }

 private:
  ScriptedSession& session_;
};

void ScriptedSession::failOn(const std::string& pattern, const std::string& error, int times,
                             unsigned number) {
  rules_.push_back({pattern, error, {}, times, true, number});
}

void ScriptedSession::answerOn(const std::string& pattern, std::vector<Row> rows, int times) {
  rules_.push_back({pattern, {}, std::move(rows), times, false, 0});
}

bool ScriptedSession::play(const std::string& line) {
  note(line);
  answer_.clear();
  const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), [&line](const Rule& candidate) {
    return candidate.times != 0 && matchesWildcard(line, candidate.pattern);
  });
  error_.clear();
  errorNumber_ = 0;
  if (rule == rules_.rend()) return true;
  if (rule->times > 0) --rule->times;
  answer_ = rule->rows;
  error_ = rule->error;
  errorNumber_ = rule->number;
  return !rule->fails;
}

bool ScriptedSession::connect(const ServerAddress& address) {
  return play("connect " + shown(address.host) + " " + shown(address.user) + " " +
              shown(address.password) + " " + shown(address.database) + " " +
              shown(address.socket) + " " + std::to_string(address.port));
}

bool ScriptedSession::query(const std::string& sql) {
  lastSql_ = sql;
  return play("query " + lastSql_);
}

bool ScriptedSession::selectDatabase(const std::string& name) { return play("select " + name); }

std::unique_ptr<ResultRows> ScriptedSession::storeResult() {
  if (std::find(withoutResult.begin(), withoutResult.end(), lastSql_) != withoutResult.end()) {
    error_ = "no answer";
    return nullptr;
  }
  return std::make_unique<ScriptedRows>(std::move(answer_));
}

std::unique_ptr<ResultRows> ScriptedSession::listDatabases() {
  if (!play("list")) return nullptr;
  return std::make_unique<ScriptedRows>(std::move(answer_));
}

std::unique_ptr<Statement> ScriptedSession::makeStatement() {
  if (!statementFailures.empty()) {
    error_ = statementFailures.front();
    statementFailures.pop_front();
    note("makeStatement failed");
    return nullptr;
  }
  return std::make_unique<ScriptedStatement>(*this);
}

std::vector<std::string> ScriptedSession::statements() const {
  constexpr std::string_view kPrefix = "query ";
  std::vector<std::string> found;
  for (const std::string& call : calls) {
    if (call.starts_with(kPrefix)) found.push_back(call.substr(kPrefix.size()));
  }
  return found;
}

}  // namespace keldane
