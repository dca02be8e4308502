#include "app/panels/find_field.h"

#include <cctype>
#include <variant>

#include <fmt/format.h>

#include "app/run_index.h"
#include "base/text.h"
#include "find/word_search.h"
#include "query/search_result.h"

namespace keldane {
namespace {

/// So many are shown while the user types.
constexpr std::size_t kMostShown = 200;
/// A beginning of a word is asked for from this length on; shorter ones stand for too many.
constexpr std::size_t kLeastBeginning = 2;

class IndexProgress : public Progress {
 public:
  IndexProgress(ProgressPanel& panel, UserInterface& ui) : panel_(panel), ui_(ui) {}
  void step(int count, std::string_view detail) override {
    if (std::exchange(started_, true)) {
      ui_.progressChanged(count, detail);
    } else {
      panel_.doProgressPanel("Reading messages for the word index...");
    }
    cancelled_ = !ui_.goesOn() || cancelled_;
  }
  [[nodiscard]] bool cancelled() const override { return cancelled_; }
  ~IndexProgress() override {
    if (started_) panel_.close();
  }

 private:
  ProgressPanel& panel_;
  UserInterface& ui_;
  bool started_ = false;
  bool cancelled_ = false;
};

/// The text with its last word as a beginning, when it ends in one.
std::string withOpenEnd(const std::string& text) {
  std::size_t word = 0;
  while (word < text.size()) {
    const auto byte = static_cast<unsigned char>(text[text.size() - 1 - word]);
    const bool isOfWord = byte >= 0x80 || std::isalnum(byte) != 0;
    if (!isOfWord) break;
    ++word;
  }
  return word >= kLeastBeginning ? text + "*" : text;
}

void collectWords(const QueryNode& query, std::vector<std::string>& words) {
  if (query.kind == QueryNode::Kind::noneOf) return;
  words.insert(words.end(), query.words.begin(), query.words.end());
  for (const QueryNode& part : query.parts) collectWords(part, words);
}

}  // namespace

/// The index of the archive that is open, with all that keeps it in step.
struct FindField::Index {
  Index(Archiver& archiver, const std::string& temporaryFolder, const std::string& identity)
      : documents(temporaryFolder),
        reader(indexReaderOptions(archiver.settings(), &documents)),
        words(indexFolder(supportFolder(archiver.process()), identity), identity),
        catchUp(archiver.session(), words, reader),
        search(archiver.session(), words) {}

  AttachmentText documents;
  MessageTextReader reader;
  WordIndex words;
  IndexCatchUp catchUp;
  WordSearch search;
};

FindField::FindField(Context context) : context_(context) {}

FindField::~FindField() = default;

void FindField::forgetIndex() { index_.reset(); }

void FindField::tell(const std::string& what) {
  message = what;
  context_.ui.changed("findMessage");
}

FindField::Index* FindField::index() {
  if (index_) return index_.get();
  const Result<std::string> identity = archiveIdentity(context_.archiver.session());
  if (identity) {
    index_ = std::make_unique<Index>(context_.archiver, context_.environment.temporaryFolder(),
                                     *identity);
  } else {
    tell(identity.error());
  }
  return index_.get();
}

bool FindField::begin() {
  message.clear();
  if (context_.archiver.archiveRun().isRunning()) return false;
  if (!context_.archiver.connections().isConnected()) {
    tell("There is no archive to look in: connect to a server first.");
    return false;
  }
  Index* found = index();
  if (found == nullptr) return false;
  IndexProgress progress(context_.progress, context_.ui);
  const Result<CatchUpOutcome> done = found->catchUp.run(progress);
  if (!done) {
    tell(done.error());
    forgetIndex();
    return false;
  }
  if (done->cancelled) {
    tell(fmt::format("{} messages were read; the rest is not found yet.", done->added));
  } else if (done->isReader && done->behind > 0) {
    tell(fmt::format("Another program is writing the word index; {} messages are still missing.",
                     done->behind));
  } else {
    tell("");
  }
  return true;
}

void FindField::type(const std::string& typed) {
  text = typed;
  query_.reset();
  words_.clear();
  if (trimWhitespace(typed).empty()) {
    giveUp();
    return;
  }
  if (context_.archiver.archiveRun().isRunning() || (!index_ && !begin())) return;
  const std::string today = localDateTime(context_.environment.now()).substr(0, 10);
  std::variant<QueryNode, QueryProblem> read = readWordQuery(withOpenEnd(typed), today);
  if (std::holds_alternative<QueryProblem>(read)) read = readWordQuery(typed, today);
  if (const auto* problem = std::get_if<QueryProblem>(&read)) {
    // A query is often not finished while it is typed.
    tell(problem->message);
    return;
  }
  QueryNode& query = std::get<QueryNode>(read);
  // One more than is shown tells whether there are more.
  Result<std::vector<std::uint32_t>> ids =
      index_->search.ids(query, HitOrder::newestFirst, kMostShown + 1);
  if (!ids) {
    tell(ids.error());
    return;
  }
  collectWords(query, words_);
  query_ = std::move(query);
  tell("");
  const bool more = ids->size() > kMostShown;
  if (more) ids->pop_back();
  if (!former_) former_ = context_.table.takeList();
  context_.table.showFound(*ids, more);
}

void FindField::keep() {
  if (!query_ || !index_ || context_.archiver.archiveRun().isRunning()) return;
  const Result<std::vector<std::uint32_t>> ids = index_->search.ids(*query_, HitOrder::newestFirst);
  if (!ids) {
    tell(ids.error());
    return;
  }
  former_.reset();
  forgetIndex();
  context_.table.currentSql = listOfIdsSQL(*ids);
  context_.table.retrieve();
}

void FindField::giveUp() {
  text.clear();
  query_.reset();
  words_.clear();
  forgetIndex();
  tell("");
  if (!former_) return;
  context_.table.putBack(std::move(*former_));
  former_.reset();
}

}  // namespace keldane
