#include "app/patient_session.h"

#include <chrono>
#include <condition_variable>
#include <future>
#include <utility>

#include "archive/failover_session.h"

namespace keldane {
namespace {

constexpr const char* kTakenByRun = "The archive run is using the connection.";
constexpr const char* kTakenByStatement = "The connection is busy with another statement.";
constexpr const char* kLeft = "Connecting was cancelled.";
constexpr unsigned kNoConnection = 2003;  ///< as the client numbers it
constexpr std::chrono::milliseconds kPatience{300};
constexpr std::chrono::milliseconds kBetweenQuestions{20};
/// Between two attempts to end a statement, which may come before the server has begun with it.
constexpr std::chrono::milliseconds kBetweenKills{1000};

}  // namespace

/// Kept by its thread too, and by whoever is about to end one of its statements.
struct PatientSession::Line {
  explicit Line(std::unique_ptr<ServerSession> made) : session(std::move(made)) {}
  const std::unique_ptr<ServerSession> session;
  std::mutex mutex;
  std::condition_variable changed;
  std::function<void()> call;  ///< to be run by the thread
  unsigned number = 0;         ///< of the call
  bool done = true;
  bool killing = false;     ///< the call at hand is just being ended
  bool killerRuns = false;  ///< somebody is on the way to do so
  bool ends = false;
  bool isLeft = false;  ///< nobody waits for its call any more
  std::thread thread;
};

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
      mainThread_(std::this_thread::get_id()),
      line_(makeLine()) {}

PatientSession::~PatientSession() {
  {
    const std::lock_guard lock(line_->mutex);
    line_->ends = true;
  }
  line_->changed.notify_all();
  line_->thread.join();
}

std::shared_ptr<PatientSession::Line> PatientSession::makeLine() {
  auto line = std::make_shared<Line>(makeFailoverSession(makeSession_()));
  line->session->notice = [this, own = line.get()](const std::string& text) {
    // Held throughout, so that a session which is left alone tells nobody who may be gone.
    const std::lock_guard lock(own->mutex);
    if (own->isLeft) return;
    // Another host has another number for the session.
    connectionId_.clear();
    hasMoved_ = true;
    if (notice) notice(text);
  };
  line->thread = std::thread([line] { work(line); });
  return line;
}

void PatientSession::work(const std::shared_ptr<Line>& line) {
  std::unique_lock lock(line->mutex);
  while (true) {
    line->changed.wait(lock, [&line] { return line->ends || line->call; });
    if (!line->call) return;
    const std::function<void()> call = std::exchange(line->call, nullptr);
    lock.unlock();
    call();
    lock.lock();
    line->done = true;
    line->changed.notify_all();
  }
}

/// With `canLeave` the call may outlive this one, and must refer to nothing but its line.
bool PatientSession::send(std::function<void()> call, bool canLeave) {
  if (std::this_thread::get_id() != mainThread_) {
    if (isOthers()) return false;
    line_->session->waitsWhenUnsure = waitsWhenUnsure;
    call();
    return true;
  }
  refused_ = waits_ || isOthers();
  if (refused_) return false;
  waits_ = true;
  left_ = false;
  line_->session->waitsWhenUnsure = waitsWhenUnsure;
  bool isLeft = false;
  {
    std::unique_lock lock(line_->mutex);
    line_->call = std::move(call);
    line_->done = false;
    ++line_->number;
    line_->changed.notify_all();
    isLeft = !wait(lock, canLeave);
  }
  if (isLeft) {
    line_->thread.detach();
    line_ = makeLine();
  }
  // Also when an event has made a call meanwhile.
  waits_ = refused_ = false;
  left_ = isLeft;
  return !isLeft;
}

/// Until the call is done. False: it has been left alone.
bool PatientSession::wait(std::unique_lock<std::mutex>& lock, bool canLeave) {
  using Clock = std::chrono::steady_clock;
  Line& line = *line_;
  const auto isOver = [&line] { return line.done && !line.killing; };
  if (line.changed.wait_for(lock, kPatience, isOver)) return true;
  bool goesOn = true;
  Clock::time_point killed;
  while (!isOver() && !line.isLeft) {
    const bool canEnd = canLeave || !connectionId_.empty();
    lock.unlock();
    if (goesOn && waiting_.goesOn) goesOn = waiting_.goesOn(canEnd);
    lock.lock();
    if (!goesOn && canLeave && !line.done) {
      line.isLeft = line.ends = true;
    } else if (!goesOn && !line.done && !line.killerRuns &&
               Clock::now() - killed >= kBetweenKills) {
      killed = Clock::now();
      endStatement();
    }
    if (!line.isLeft) line.changed.wait_for(lock, kBetweenQuestions, isOver);
  }
  const bool isLeft = line.isLeft;
  lock.unlock();
  if (waiting_.over) waiting_.over();
  lock.lock();
  return !isLeft;
}

/// Asks by which number, and of which host, the session can be told to end a statement. With a call
/// of the main thread that has no answer open.
void PatientSession::identify() {
  ServerSession& session = *line_->session;
  const std::string id = session.query("SELECT CONNECTION_ID()") ? fetchFirstCell(session) : "0";
  const std::lock_guard lock(line_->mutex);
  hasMoved_ = false;
  connectionId_ = id == "0" ? std::string() : id;
  if (const std::optional<HostPlace> place = session.place()) {
    address_.host = place->host;
    address_.port = place->port;
  }
}

/// The second session may wait for its server as long as the first; it ends that call or none.
void PatientSession::endStatement() {
  if (connectionId_.empty()) return;
  line_->killerRuns = true;
  std::thread([line = line_, number = line_->number, makeSession = makeSession_, address = address_,
               sql = "KILL QUERY " + connectionId_] {
    const std::unique_ptr<ServerSession> other = makeSession();
    other->init();
    const bool connected = other->connect(address);
    {
      const std::lock_guard lock(line->mutex);
      line->killing = connected && !line->done && line->number == number;
    }
    // What it is refused, the next attempt is perhaps given.
    if (line->killing) static_cast<void>(other->query(sql));
    other->close();
    const std::lock_guard lock(line->mutex);
    line->killing = line->killerRuns = false;
    line->changed.notify_all();
  }).detach();
}

bool PatientSession::runChecked(const std::function<bool()>& call) {
  bool ok = false;
  if (!run([&] { ok = call(); })) return false;
  if (!ok) noteLoss();
  return ok;
}

void PatientSession::noteLoss() {
  if (std::this_thread::get_id() != mainThread_ || isLost_) return;
  isLost_ = isLostConnection(line_->session->error());
  if (isLost_ && waiting_.lostChanged) waiting_.lostChanged(true);
}

/// There is nothing that could be ended.
void PatientSession::forgetId() {
  if (std::this_thread::get_id() != mainThread_ || waits_ || isOthers()) return;
  const std::lock_guard lock(line_->mutex);
  connectionId_.clear();
}

void PatientSession::init() {
  forgetId();
  static_cast<void>(run([this] { line_->session->init(); }));
}

bool PatientSession::connect(const ServerAddress& address) {
  forgetId();
  const auto connected = std::make_shared<bool>(false);
  const bool came = send([session = line_->session.get(), connected,
                          address] { *connected = session->connect(address); },
                         true);
  if (!came) return false;
  if (!*connected) noteLoss();
  if (!*connected || std::this_thread::get_id() != mainThread_) return *connected;
  {
    const std::lock_guard lock(line_->mutex);
    address_ = address;
    address_.otherHosts.clear();
  }
  if (!run([this] { identify(); })) return false;
  if (std::exchange(isLost_, false) && waiting_.lostChanged) waiting_.lostChanged(false);
  return true;
}

void PatientSession::close() {
  forgetId();
  static_cast<void>(run([this] { line_->session->close(); }));
}

bool PatientSession::query(const std::string& sql) {
  const bool isMain = std::this_thread::get_id() == mainThread_;
  return runChecked([&] {
    if (isMain && hasMoved_) identify();
    return line_->session->query(sql);
  });
}

std::string PatientSession::encryption() const {
  return isRefused() || isOthers() ? std::string() : line_->session->encryption();
}

std::optional<HostPlace> PatientSession::place() const {
  return isRefused() || isOthers() ? std::nullopt : line_->session->place();
}

bool PatientSession::moveOn() {
  return runChecked([&] { return line_->session->moveOn(); });
}

std::size_t PatientSession::largestStatementBytes() const {
  return line_->session->largestStatementBytes();
}

bool PatientSession::isRefused() const {
  return std::this_thread::get_id() == mainThread_ && (refused_ || waits_);
}

std::string PatientSession::error() const {
  if (isOthers()) return kTakenByRun;
  if (std::this_thread::get_id() == mainThread_ && left_) return kLeft;
  return isRefused() ? kTakenByStatement : line_->session->error();
}

unsigned PatientSession::errorNumber() const {
  if (std::this_thread::get_id() == mainThread_ && left_) return kNoConnection;
  return isRefused() ? 0 : line_->session->errorNumber();
}

bool PatientSession::selectDatabase(const std::string& name) {
  return runChecked([&] { return line_->session->selectDatabase(name); });
}

std::unique_ptr<ResultRows> PatientSession::rowsOf(
    std::unique_ptr<ResultRows> (ServerSession::*call)()) {
  std::unique_ptr<ResultRows> rows;
  if (run([&] { rows = (*line_->session.*call)(); }) && !rows) noteLoss();
  return rows;
}

std::unique_ptr<ResultRows> PatientSession::storeResult() {
  return rowsOf(&ServerSession::storeResult);
}

std::unique_ptr<ResultRows> PatientSession::useResult() {
  return rowsOf(&ServerSession::useResult);
}

std::uint64_t PatientSession::insertId() const {
  return isOthers() ? 0 : line_->session->insertId();
}

std::unique_ptr<ResultRows> PatientSession::listDatabases() {
  return rowsOf(&ServerSession::listDatabases);
}

std::unique_ptr<Statement> PatientSession::makeStatement() {
  std::unique_ptr<Statement> statement;
  static_cast<void>(run([&] { statement = line_->session->makeStatement(); }));
  if (!statement) return nullptr;
  return std::make_unique<PatientStatement>(*this, std::move(statement));
}

void runPatiently(const PatientSession::Waiting& waiting,
                  const std::function<void(const std::function<bool()>& cancelled)>& task) {
  std::atomic<bool> ends = false;
  std::future<void> done =
      std::async(std::launch::async, [&] { task([&ends] { return ends.load(); }); });
  if (done.wait_for(kPatience) != std::future_status::ready) {
    while (done.wait_for(kBetweenQuestions) != std::future_status::ready) {
      if (waiting.goesOn && !waiting.goesOn(true)) ends = true;
    }
    if (waiting.over) waiting.over();
  }
  done.get();
}

}  // namespace keldane
