#include "archive/failover_session.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>
#include <utility>

#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kInUse = "The archive run is using the connection.";
constexpr const char* kLostText = "MySQL server has gone away";
constexpr unsigned kLost = 2006;  ///< before the statement was on its way
constexpr unsigned kLostInStatement = 2013;

constexpr unsigned kLockTimeout = 1205;
constexpr unsigned kDeadlock = 1213;
/// Others may collide with the same writing again and again; a timeout has cost a minute already.
constexpr int kMostAfterDeadlock = 10;
constexpr int kMostAfterTimeout = 2;
constexpr std::chrono::milliseconds kAfterDeadlock{20};

/// What a node answers that has lost the others of its cluster, or has yet to join them.
constexpr unsigned kNotReady = 1047;
/// What it answers when it loses them while it commits.
constexpr unsigned kCommitFailed = 1180;
/// The others of a node that answered so, or with a deadlock, may yet have carried it out.
constexpr const char* kInDoubtText = "Lost connection to the cluster while it wrote";
constexpr const char* kNoView = "18446744073709551615";
constexpr const char* kNotReadyText = "WSREP has not yet prepared node for application use";
/// Answers of a host that cannot be had, at a connect. Any other is the answer of one that can.
constexpr std::array<unsigned, 12> kNoAnswer = {1040, 1053, 1129, 1130, 2002, 2003,
                                                2005, 2006, 2012, 2013, 2026, 2055};
/// The nodes of a cluster that has lost one agree within this time on who goes on.
constexpr std::chrono::seconds kLongestVote{45};
constexpr std::chrono::milliseconds kBetweenVotes{300};

bool isOneOf(unsigned number, std::span<const unsigned> numbers) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool startsWith(std::string_view sql, std::string_view word) {
  return sql.size() >= word.size() && compareNoCase(sql.substr(0, word.size()), word) == 0;
}

/// Carried out twice, it does what it does once.
bool canBeRepeated(std::string_view sql) {
  constexpr std::array<std::string_view, 5> kWords = {"SELECT ", "SHOW ", "SET ", "DELETE FROM ",
                                                      "START TRANSACTION"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [sql](std::string_view word) { return startsWith(sql, word); });
}

class FailoverSession : public ServerSession {
 public:
  explicit FailoverSession(std::unique_ptr<ServerSession> inner) : inner_(std::move(inner)) {}

  void init() override {
    if (isOthers()) return;
    reset();
    inner_->init();
  }
  [[nodiscard]] bool connect(const ServerAddress& address) override;
  void close() override {
    if (isOthers()) return;
    reset();
    inner_->close();
  }
  [[nodiscard]] bool query(const std::string& sql) override;
  [[nodiscard]] std::size_t largestStatementBytes() const override {
    return inner_->largestStatementBytes();
  }
  [[nodiscard]] std::string error() const override {
    if (isOthers()) return kInUse;
    return errorNumber_ != 0 ? error_ : inner_->error();
  }
  [[nodiscard]] unsigned errorNumber() const override {
    return errorNumber_ != 0 ? errorNumber_ : inner_->errorNumber();
  }
  [[nodiscard]] bool selectDatabase(const std::string& name) override {
    const bool selected = run(Repeat::always, [&] { return inner_->selectDatabase(name); });
    if (selected) address_.database = name;
    return selected;
  }
  [[nodiscard]] std::unique_ptr<ResultRows> storeResult() override;
  [[nodiscard]] std::unique_ptr<ResultRows> useResult() override {
    return isOthers() || isLost_ ? nullptr : inner_->useResult();
  }
  [[nodiscard]] std::uint64_t insertId() const override {
    return isOthers() ? 0 : inner_->insertId();
  }
  [[nodiscard]] std::unique_ptr<ResultRows> listDatabases() override {
    std::unique_ptr<ResultRows> rows;
    static_cast<void>(run(Repeat::always, [&] {
      rows = inner_->listDatabases();
      return rows != nullptr;
    }));
    return rows;
  }
  [[nodiscard]] std::unique_ptr<Statement> makeStatement() override;
  [[nodiscard]] std::string encryption() const override { return inner_->encryption(); }
  [[nodiscard]] std::optional<HostPlace> place() const override {
    if (places_.size() < 2) return std::nullopt;
    return places_[at_];
  }
  [[nodiscard]] bool moveOn() override;

 private:
  friend class FailoverStatement;
  enum class Repeat { always, whenNotBegun };

  void reset();
  void keepError();
  void noteStatement(const std::string& sql);
  [[nodiscard]] bool begin();
  template <typename Send>
  [[nodiscard]] bool run(Repeat repeat, Send send);
  template <typename Send>
  [[nodiscard]] bool sendUntilDone(Repeat repeat, Send send);
  [[nodiscard]] bool hasLost() const;
  [[nodiscard]] std::string secondCell(const char* sql);
  [[nodiscard]] bool isNode();
  [[nodiscard]] std::string readView();
  [[nodiscard]] bool isInDoubt();
  void putInDoubt();
  /// What came of asking a host for a session.
  enum class Answer { taken, refused, notReady, none };
  [[nodiscard]] Answer open(std::size_t place);
  [[nodiscard]] Answer openAnother(std::size_t most);
  [[nodiscard]] bool isReady();

  std::unique_ptr<ServerSession> inner_;
  ServerAddress address_;  ///< with the database that is selected now
  std::vector<HostPlace> places_;
  std::size_t at_ = 0;
  std::string view_;  ///< the number of the host's cluster as it was made up at the connect
  std::vector<std::string> values_;  ///< statements that gave the session its values
  std::string question_;             ///< the last statement that only reads, for its answer
  bool inTransaction_ = false;
  bool isLost_ = false;      ///< and has not moved on
  unsigned generation_ = 0;  ///< goes up with each session that is opened
  // Of the last failure, when the inner session has been opened anew since.
  std::string error_;
  unsigned errorNumber_ = 0;
};

void FailoverSession::reset() {
  values_.clear();
  question_.clear();
  inTransaction_ = false;
  isLost_ = false;
  error_.clear();
  errorNumber_ = 0;
}

void FailoverSession::keepError() {
  if (errorNumber_ != 0) return;
  error_ = inner_->error();
  errorNumber_ = inner_->errorNumber();
  // The end of a prepared statement clears the number.
  if (errorNumber_ == 0) errorNumber_ = kLostInStatement;
}

/// Before each call. False: another thread has the session, or it is lost and waits.
bool FailoverSession::begin() {
  if (isOthers()) return false;
  if (isLost_ && !waitsWhenUnsure && !inTransaction_ && moveOn()) return true;
  if (isLost_) {
    error_ = kLostText;
    errorNumber_ = kLost;
    return false;
  }
  error_.clear();
  errorNumber_ = 0;
  return true;
}

// The connect.

bool FailoverSession::connect(const ServerAddress& address) {
  if (isOthers()) return false;
  std::vector<HostPlace> places = {{address.host.value_or(""), address.port}};
  places.insert(places.end(), address.otherHosts.begin(), address.otherHosts.end());
  // The one that answered comes first the next time.
  const bool isKnown = places == places_;
  places_ = std::move(places);
  if (!isKnown) at_ = 0;
  address_ = address;
  reset();
  const HostPlace wanted = places_[at_];
  Answer answer = open(at_);
  if (places_.size() < 2 || answer == Answer::taken || answer == Answer::refused) {
    return answer == Answer::taken;
  }
  const std::string reason = printable(error());
  answer = openAnother(places_.size() - 1);
  if (answer == Answer::taken && notice) {
    notice("The server " + hostText(wanted) + " cannot be had (" + reason + "); " +
           hostText(places_[at_]) + " answers in its place.");
  }
  return answer == Answer::taken;
}

/// Asks `most` hosts, from the one behind the present one on, until one gives a definite answer;
/// that is the present one then. Else the best that one of them has given.
FailoverSession::Answer FailoverSession::openAnother(std::size_t most) {
  const std::size_t lost = at_;
  Answer best = Answer::none;
  for (std::size_t step = 1; step <= most; ++step) {
    const std::size_t place = (lost + step) % places_.size();
    const Answer answer = open(place);
    if (answer == Answer::taken || answer == Answer::refused) {
      at_ = place;
      return answer;
    }
    if (answer == Answer::notReady) best = answer;
  }
  return best;
}

FailoverSession::Answer FailoverSession::open(std::size_t place) {
  ServerAddress one = address_;
  ++generation_;
  error_.clear();
  errorNumber_ = 0;
  if (places_.size() > 1) {
    one.host = places_[place].host;
    one.port = places_[place].port;
    inner_->init();
  }
  if (!inner_->connect(one)) {
    const unsigned number = inner_->errorNumber();
    if (number == kNotReady) return Answer::notReady;
    return isOneOf(number, kNoAnswer) ? Answer::none : Answer::refused;
  }
  if (places_.size() < 2) return Answer::taken;
  view_ = readView();
  if (isReady()) return Answer::taken;
  error_ = kNotReadyText;
  errorNumber_ = kNotReady;
  return Answer::notReady;
}

std::string FailoverSession::secondCell(const char* sql) {
  const auto rows = inner_->query(sql) ? inner_->storeResult() : nullptr;
  return rows != nullptr && rows->next() ? std::string(rows->cell(1).value_or("")) : std::string();
}

/// Whether the host is one of a cluster. Of what it says of its state, one that is on its own says
/// the same as a node without its cluster.
bool FailoverSession::isNode() { return secondCell("SHOW VARIABLES LIKE 'wsrep_on'") == "ON"; }

/// Whether the host, if it is the node of a cluster, is one that takes statements.
bool FailoverSession::isReady() {
  return secondCell("SHOW STATUS LIKE 'wsrep_ready'") != "OFF" || !isNode();
}

bool FailoverSession::moveOn() {
  if (isOthers() || places_.size() < 2) return false;
  const std::string reason = printable(error());
  const HostPlace lost = places_[at_];
  const auto end = std::chrono::steady_clock::now() + kLongestVote;
  Answer answer = openAnother(places_.size());
  while (answer == Answer::notReady && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kBetweenVotes);
    answer = openAnother(places_.size());
  }
  isLost_ = answer != Answer::taken;
  if (isLost_) return false;
  inTransaction_ = false;
  for (const std::string& sql : values_) static_cast<void>(inner_->query(sql));
  if (notice) {
    notice("The server " + hostText(lost) + " was lost (" + reason + "); going on with " +
           hostText(places_[at_]) + ".");
  }
  return true;
}

// Statements.

bool FailoverSession::hasLost() const {
  if (places_.size() < 2) return false;
  const std::string text = error();
  const unsigned number = errorNumber();
  return number == kNotReady || (number == kCommitFailed && !view_.empty()) ||
         isLostConnection(text);
}

/// The number of the cluster as it is made up now; empty when the host is on its own.
std::string FailoverSession::readView() {
  return isNode() ? secondCell("SHOW STATUS LIKE 'wsrep_cluster_conf_id'") : std::string();
}

/// Whether a writing that the host has just given up may stand all the same, because it was cut
/// off from its cluster meanwhile: the others then keep what has reached them.
bool FailoverSession::isInDoubt() {
  const unsigned number = inner_->errorNumber();
  if (number != kDeadlock && number != kCommitFailed) return false;
  keepError();
  // A reading waits until the node has come to know of such a cut.
  const bool isAnswered = inner_->query("SELECT 1") && inner_->storeResult() != nullptr;
  const std::string view = readView();
  if (view.empty()) return !isAnswered;
  return !isAnswered || number == kCommitFailed || view == kNoView ||
         (places_.size() > 1 && view != view_);
}

/// It counts as lost then, and whoever sent it looks for what has become of it.
void FailoverSession::putInDoubt() {
  error_ = std::string(kInDoubtText) + " (" + error_ + ")";
  errorNumber_ = kLostInStatement;
  if (places_.size() < 2) inner_->close();
}

/// Sends a statement again that has had to give way.
template <typename Send>
bool FailoverSession::sendUntilDone(Repeat repeat, Send send) {
  for (int i = 1;; ++i) {
    error_.clear();
    errorNumber_ = 0;
    if (send()) return true;
    const unsigned number = inner_->errorNumber();
    if (inTransaction_) return false;
    if (repeat == Repeat::whenNotBegun && (isInDoubt() || (i > 1 && hasLost()))) {
      keepError();
      putInDoubt();
      return false;
    }
    const int most = number == kDeadlock      ? kMostAfterDeadlock
                     : number == kLockTimeout ? kMostAfterTimeout
                                              : 0;
    if (i >= most) return false;
    if (number == kDeadlock) std::this_thread::sleep_for(kAfterDeadlock * i);
  }
}

template <typename Send>
bool FailoverSession::run(Repeat repeat, Send send) {
  if (!begin()) return false;
  for (std::size_t hosts = 0;; ++hosts) {
    if (sendUntilDone(repeat, send)) return true;
    // So a node refuses to read that waits for the others and has lost them.
    const bool waitedInVain =
        repeat == Repeat::always && !view_.empty() && errorNumber() == kLockTimeout;
    if (!waitedInVain && !hasLost()) return false;
    keepError();
    isLost_ = true;
    const bool notBegun = errorNumber_ == kNotReady || errorNumber_ == kLost;
    if (inTransaction_ || hosts >= places_.size()) return false;
    if (repeat != Repeat::always && !notBegun) return false;
    const std::string error = error_;
    const unsigned number = errorNumber_;
    if (moveOn()) continue;
    error_ = error;
    errorNumber_ = number;
    return false;
  }
}

void FailoverSession::noteStatement(const std::string& sql) {
  if (startsWith(sql, "SELECT ")) {
    if (places_.size() > 1) question_ = sql;
  } else if (startsWith(sql, "SET SESSION ")) {
    const std::string_view name = std::string_view(sql).substr(0, sql.find('='));
    std::erase_if(values_, [name](const std::string& known) { return known.starts_with(name); });
    values_.push_back(sql);
  } else if (startsWith(sql, "START TRANSACTION") || startsWith(sql, "BEGIN")) {
    inTransaction_ = true;
  } else if (startsWith(sql, "USE ")) {
    address_.database = std::string(trimWhitespace(std::string_view(sql).substr(4)));
  }
}

bool FailoverSession::query(const std::string& sql) {
  if (startsWith(sql, "ROLLBACK") && isLost_ && inTransaction_ && !isOthers()) {
    inTransaction_ = false;  // the link has taken it along
    return true;
  }
  question_.clear();
  const bool sent = run(canBeRepeated(sql) ? Repeat::always : Repeat::whenNotBegun,
                        [&] { return inner_->query(sql); });
  if (startsWith(sql, "COMMIT") || startsWith(sql, "ROLLBACK")) inTransaction_ = false;
  if (sent) noteStatement(sql);
  return sent;
}

std::unique_ptr<ResultRows> FailoverSession::storeResult() {
  if (isOthers() || isLost_) return nullptr;
  std::unique_ptr<ResultRows> rows = inner_->storeResult();
  if (rows != nullptr || question_.empty() || inTransaction_ || !hasLost()) return rows;
  // Lost between the statement and its answer.
  const std::string question = std::exchange(question_, {});
  keepError();
  isLost_ = true;
  return moveOn() && query(question) ? inner_->storeResult() : nullptr;
}

class FailoverStatement : public DirectStatement {
 public:
  FailoverStatement(FailoverSession& session, std::unique_ptr<Statement> inner)
      : session_(session), inner_(std::move(inner)), generation_(session.generation_) {}

  [[nodiscard]] bool prepare(std::string_view sql) override {
    return session_.run(FailoverSession::Repeat::always, [&] {
      if (generation_ != session_.generation_) renew();
      return inner_ != nullptr && inner_->prepare(sql);
    });
  }
  [[nodiscard]] Ran runAtOnce(std::string_view sql, std::span<const BoundValue> values,
                              const std::function<void()>& beforeIt) override {
    if (!session_.begin()) return Ran::refusedText;
    if (generation_ != session_.generation_) renew();
    Ran ran = Ran::refusedText;
    int times = 0;
    const bool done = session_.sendUntilDone(FailoverSession::Repeat::whenNotBegun, [&] {
      if (++times > 1) renew();
      if (inner_ == nullptr) return false;
      ran = runStatement(*inner_, sql, values, times > 1 ? std::function<void()>() : beforeIt);
      return ran == Ran::done;
    });
    if (done || !noteLoss()) return ran;
    return Ran::refusedText;  // what the server has done of it is not known
  }
  [[nodiscard]] bool bind(std::span<const BoundValue> values) override {
    return isUsable() && inner_->bind(values);
  }
  [[nodiscard]] bool execute() override {
    if (!isUsable()) return false;
    if (session_.sendUntilDone(FailoverSession::Repeat::whenNotBegun,
                               [this] { return inner_->execute(); })) {
      return true;
    }
    noteLoss();
    return false;
  }
  bool close() override { return inner_ == nullptr || inner_->close(); }

 private:
  /// That of a session which is gone is of no use.
  void renew() {
    inner_ = session_.inner_->makeStatement();
    generation_ = session_.generation_;
  }
  bool noteLoss() {
    if (!session_.hasLost()) return false;
    session_.keepError();
    session_.isLost_ = true;
    return true;
  }
  /// Not when it was prepared in a session that is gone.
  [[nodiscard]] bool isUsable() {
    return session_.begin() && inner_ != nullptr && generation_ == session_.generation_;
  }

  FailoverSession& session_;
  std::unique_ptr<Statement> inner_;
  unsigned generation_;
};

std::unique_ptr<Statement> FailoverSession::makeStatement() {
  if (isOthers()) return nullptr;
  // Of a lost session one whose calls fail, as the client has it.
  if (!isLost_) static_cast<void>(begin());
  std::unique_ptr<Statement> inner = inner_->makeStatement();
  if (inner == nullptr) return nullptr;
  return std::make_unique<FailoverStatement>(*this, std::move(inner));
}

}  // namespace

std::unique_ptr<ServerSession> makeFailoverSession(std::unique_ptr<ServerSession> inner) {
  return std::make_unique<FailoverSession>(std::move(inner));
}

}  // namespace keldane
