#pragma once

#include <memory>
#include <string>
#include <utility>

#include "archive/server_session.h"

namespace keldane {

/// Thrown in place of the end of the process. Not an exception of the standard library, so that
/// nothing on the way takes it for an error that it can deal with.
struct Killed {};

/// A session that is cut off at its Nth call: by the end of the program, or by the loss of the
/// server; before the server has seen the call, or when it has carried it out and nobody learns it.
class CutSession : public ServerSession {
 public:
  enum class Cut { never, killedBefore, killedAfter, lostBefore, lostAfter };

  explicit CutSession(ServerSession& inner) : inner_(inner) {}

  /// From now on, `call` counting from 1.
  void cutAt(Cut cut, int call) {
    cut_ = cut;
    cutCall_ = call;
    calls_ = 0;
    lost_ = false;
  }
  [[nodiscard]] int calls() const { return calls_; }

  void init() override { inner_.init(); }
  [[nodiscard]] bool connect(const ServerAddress& address) override {
    return inner_.connect(address);
  }
  void close() override { inner_.close(); }
  [[nodiscard]] bool query(const std::string& sql) override {
    return play([&] { return inner_.query(sql); });
  }
  [[nodiscard]] unsigned errorNumber() const override {
    return lost_ ? 2006 : inner_.errorNumber();
  }
  [[nodiscard]] std::string error() const override {
    return lost_ ? "MySQL server has gone away" : inner_.error();
  }
  [[nodiscard]] bool selectDatabase(const std::string& name) override {
    return inner_.selectDatabase(name);
  }
  [[nodiscard]] std::unique_ptr<ResultRows> storeResult() override {
    return lost_ ? nullptr : inner_.storeResult();
  }
  [[nodiscard]] std::unique_ptr<ResultRows> useResult() override { return storeResult(); }
  [[nodiscard]] std::uint64_t insertId() const override { return inner_.insertId(); }
  [[nodiscard]] std::unique_ptr<ResultRows> listDatabases() override {
    return inner_.listDatabases();
  }
  [[nodiscard]] std::unique_ptr<Statement> makeStatement() override {
    auto statement = inner_.makeStatement();
    if (!statement) return nullptr;
    return std::make_unique<CutStatement>(*this, std::move(statement));
  }

 private:
  class CutStatement : public Statement {
   public:
    CutStatement(CutSession& session, std::unique_ptr<Statement> inner)
        : session_(session), inner_(std::move(inner)) {}
    [[nodiscard]] bool prepare(std::string_view sql) override {
      return session_.play([&] { return inner_->prepare(sql); });
    }
    /// Only the client takes part in it, so that it is no place to be cut off.
    [[nodiscard]] bool bind(std::span<const BoundValue> values) override {
      return inner_->bind(values);
    }
    [[nodiscard]] bool execute() override {
      return session_.play([&] { return inner_->execute(); });
    }
    bool close() override {
      return session_.play([&] { return inner_->close(); });
    }

   private:
    CutSession& session_;
    std::unique_ptr<Statement> inner_;
  };

  template <typename Call>
  bool play(Call call) {
    if (lost_) return false;
    const bool now = ++calls_ == cutCall_;
    if (now && cut_ == Cut::killedBefore) throw Killed{};
    lost_ = now && cut_ == Cut::lostBefore;
    if (lost_) return false;
    const bool succeeded = call();
    if (!now || cut_ == Cut::never) return succeeded;
    // The answer that nobody will fetch goes with the link; here the link is used again.
    static_cast<void>(inner_.storeResult());
    if (cut_ == Cut::killedAfter) throw Killed{};
    lost_ = true;
    return false;
  }

  ServerSession& inner_;
  Cut cut_ = Cut::never;
  int cutCall_ = 0;
  int calls_ = 0;
  bool lost_ = false;
};

}  // namespace keldane
