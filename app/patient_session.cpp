#include "app/patient_session.h"

#include <chrono>
#include <utility>

#include "archive/failover_session.h"

namespace keldane {
namespace {

constexpr const char* kTakenByRun = "The archive run is using the connection.";
constexpr const char* kTakenByStatement = "The connection is busy with another statement.";
constexpr std::chrono::milliseconds kPatience{300};
constexpr std::chrono::milliseconds kBetweenQuestions{20};
/// Between two attempts to end a statement, which may come before the server has begun with it.
constexpr std::chrono::milliseconds kBetweenKills{1000};

}  // namespace

/// A prepared statement whose calls wait as the session's do.
class PatientStatement : public DirectStatement {
 public:
  PatientStatement(PatientSession& session, std::unique_ptr<Statement> statement)
      : session_(session), statement_(std::move(statement)) {}
  ~PatientStatement() override {
    if (statement_) close();
  }
  PatientStatement(const PatientStatement&) = delete;
  PatientStatement& operator=(const PatientStatement&) = delete;

  [[nodiscard]] bool prepare(std::string_view sql) override {
    return session_.runChecked([&] { return statement_->prepare(sql); });
  }
  [[nodiscard]] bool bind(std::span<const BoundValue> values) override {
    return statement_->bind(values);
  }
  [[nodiscard]] bool execute() override {
    return session_.runChecked([&] { return statement_->execute(); });
  }
  [[nodiscard]] Ran runAtOnce(std::string_view sql, std::span<const BoundValue> values,
                              const std::function<void()>& beforeIt) override {
    Ran ran = Ran::refusedText;
    static_cast<void>(session_.runChecked([&] {
      ran = runStatement(*statement_, sql, values, beforeIt);
      return ran == Ran::done;
    }));
    return ran;
  }
  bool close() override {
    return session_.runChecked([&] { return statement_->close(); });
  }

 private:
  PatientSession& session_;
  std::unique_ptr<Statement> statement_;
};

PatientSession::PatientSession(MakeSession makeSession, Waiting waiting)
    : makeSession_(std::move(makeSession)),
      waiting_(std::move(waiting)),
      session_(makeFailoverSession(makeSession_())),
      mainThread_(std::this_thread::get_id()),
      worker_([this] { work(); }) {
  session_->notice = [this](const std::string& line) {
    {
      // Another host has another number for the session.
      const std::lock_guard lock(mutex_);
      connectionId_.clear();
      hasMoved_ = true;
    }
    if (notice) notice(line);
  };
}

PatientSession::~PatientSession() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  worker_.join();
}

void PatientSession::work() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return ends_ || call_ != nullptr; });
    if (call_ == nullptr) return;
    const auto* call = std::exchange(call_, nullptr);
    lock.unlock();
    (*call)();
    lock.lock();
    done_ = true;
    changed_.notify_all();
  }
}

bool PatientSession::run(const std::function<void()>& call) {
  if (std::this_thread::get_id() != mainThread_) {
    if (isOthers()) return false;
    session_->waitsWhenUnsure = waitsWhenUnsure;
    call();
    return true;
  }
  refused_ = waits_ || isOthers();
  if (refused_) return false;
  waits_ = true;
  session_->waitsWhenUnsure = waitsWhenUnsure;
  {
    std::unique_lock lock(mutex_);
    call_ = &call;
    done_ = false;
    changed_.notify_all();
    wait(lock);
  }
  if (killer_.joinable()) killer_.join();
  // Also when an event has made a call meanwhile.
  waits_ = refused_ = false;
  return true;
}

/// Until the call is done, and whoever was to end it.
void PatientSession::wait(std::unique_lock<std::mutex>& lock) {
  using Clock = std::chrono::steady_clock;
  const auto isOver = [this] { return done_ && !killing_; };
  if (changed_.wait_for(lock, kPatience, isOver)) return;
  bool goesOn = true;
  Clock::time_point killed;
  while (!isOver()) {
    const bool canEnd = !connectionId_.empty();
    lock.unlock();
    if (goesOn && waiting_.goesOn) goesOn = waiting_.goesOn(canEnd);
    lock.lock();
    if (!goesOn && !done_ && !killing_ && Clock::now() - killed >= kBetweenKills) {
      killed = Clock::now();
      endStatement();
    }
    changed_.wait_for(lock, kBetweenQuestions, isOver);
  }
  lock.unlock();
  if (waiting_.over) waiting_.over();
  lock.lock();
}

/// Asks by which number, and of which host, the session can be told to end a statement. With a call
/// of the main thread that has no answer open.
void PatientSession::identify() {
  const std::string id =
      session_->query("SELECT CONNECTION_ID()") ? fetchFirstCell(*session_) : "0";
  const std::lock_guard lock(mutex_);
  hasMoved_ = false;
  connectionId_ = id == "0" ? std::string() : id;
  if (const std::optional<HostPlace> place = session_->place()) {
    address_.host = place->host;
    address_.port = place->port;
  }
}

void PatientSession::endStatement() {
  if (connectionId_.empty()) return;
  if (killer_.joinable()) killer_.join();
  killing_ = true;
  killer_ = std::thread([this, address = address_, sql = "KILL QUERY " + connectionId_] {
    const std::unique_ptr<ServerSession> other = makeSession_();
    other->init();
    // What it is refused, the next attempt is perhaps given.
    if (other->connect(address)) static_cast<void>(other->query(sql));
    other->close();
    const std::lock_guard lock(mutex_);
    killing_ = false;
    changed_.notify_all();
  });
}

bool PatientSession::runChecked(const std::function<bool()>& call) {
  bool ok = false;
  if (!run([&] { ok = call(); })) return false;
  if (!ok) noteLoss();
  return ok;
}

void PatientSession::noteLoss() {
  if (std::this_thread::get_id() != mainThread_ || isLost_) return;
  isLost_ = isLostConnection(session_->error());
  if (isLost_ && waiting_.lostChanged) waiting_.lostChanged(true);
}

/// There is nothing that could be ended.
void PatientSession::forgetId() {
  if (std::this_thread::get_id() != mainThread_ || waits_ || isOthers()) return;
  const std::lock_guard lock(mutex_);
  connectionId_.clear();
}

void PatientSession::init() {
  forgetId();
  static_cast<void>(run([this] { session_->init(); }));
}

bool PatientSession::connect(const ServerAddress& address) {
  forgetId();
  const bool isMain = std::this_thread::get_id() == mainThread_;
  const bool connected = runChecked([&] {
    if (!session_->connect(address)) return false;
    if (!isMain) return true;
    {
      const std::lock_guard lock(mutex_);
      address_ = address;
      address_.otherHosts.clear();
    }
    identify();
    return true;
  });
  if (!isMain) return connected;
  if (connected && std::exchange(isLost_, false) && waiting_.lostChanged) {
    waiting_.lostChanged(false);
  }
  return connected;
}

void PatientSession::close() {
  forgetId();
  static_cast<void>(run([this] { session_->close(); }));
}

bool PatientSession::query(const std::string& sql) {
  const bool isMain = std::this_thread::get_id() == mainThread_;
  return runChecked([&] {
    if (isMain && hasMoved_) identify();
    return session_->query(sql);
  });
}

std::string PatientSession::encryption() const {
  return isRefused() || isOthers() ? std::string() : session_->encryption();
}

std::optional<HostPlace> PatientSession::place() const {
  return isRefused() || isOthers() ? std::nullopt : session_->place();
}

bool PatientSession::moveOn() {
  return runChecked([&] { return session_->moveOn(); });
}

std::size_t PatientSession::largestStatementBytes() const {
  return session_->largestStatementBytes();
}

bool PatientSession::isRefused() const {
  return std::this_thread::get_id() == mainThread_ && (refused_ || waits_);
}

std::string PatientSession::error() const {
  if (isOthers()) return kTakenByRun;
  return isRefused() ? kTakenByStatement : session_->error();
}

unsigned PatientSession::errorNumber() const { return isRefused() ? 0 : session_->errorNumber(); }

bool PatientSession::selectDatabase(const std::string& name) {
  return runChecked([&] { return session_->selectDatabase(name); });
}

std::unique_ptr<ResultRows> PatientSession::rowsOf(
    std::unique_ptr<ResultRows> (ServerSession::*call)()) {
  std::unique_ptr<ResultRows> rows;
  if (run([&] { rows = (*session_.*call)(); }) && !rows) noteLoss();
  return rows;
}

std::unique_ptr<ResultRows> PatientSession::storeResult() {
  return rowsOf(&ServerSession::storeResult);
}

std::unique_ptr<ResultRows> PatientSession::useResult() {
  return rowsOf(&ServerSession::useResult);
}

std::uint64_t PatientSession::insertId() const { return isOthers() ? 0 : session_->insertId(); }

std::unique_ptr<ResultRows> PatientSession::listDatabases() {
  return rowsOf(&ServerSession::listDatabases);
}

std::unique_ptr<Statement> PatientSession::makeStatement() {
  std::unique_ptr<Statement> statement;
  static_cast<void>(run([&] { statement = session_->makeStatement(); }));
  if (!statement) return nullptr;
  return std::make_unique<PatientStatement>(*this, std::move(statement));
}

}  // namespace keldane
