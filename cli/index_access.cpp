#include "cli/index_access.h"

#include <fmt/format.h>

#include "app/run_index.h"
#include "cli/database_words.h"
#include "cli/program.h"

namespace keldane {
namespace {

class TerminalProgress : public Progress {
 public:
  explicit TerminalProgress(TerminalInterface& terminal) : terminal_(terminal) {}
  ~TerminalProgress() override {
    if (started_) terminal_.progressEnded();
  }
  void step(int count, std::string_view detail) override {
    if (!started_) terminal_.progressStarted("Reading messages for the word index...");
    started_ = true;
    terminal_.showCount(count, detail);
  }
  [[nodiscard]] bool cancelled() const override { return interruptCount() > 0; }

 private:
  TerminalInterface& terminal_;
  bool started_ = false;
};

}  // namespace

IndexAccess::IndexAccess(Archiver& archiver, Program& program, const std::string& identity)
    : documents_(program.environment.temporaryFolder()),
      reader_(indexReaderOptions(archiver.settings(), &documents_)),
      index_(indexFolder(supportFolder(archiver.process()), identity), identity),
      catchUp_(archiver.session(), index_, reader_) {}

Result<std::unique_ptr<IndexAccess>> IndexAccess::open(Archiver& archiver, Program& program) {
  const Result<std::string> identity = archiveIdentity(archiver.session());
  if (!identity) return Failure{databaseSentence(identity.error())};
  return std::unique_ptr<IndexAccess>(new IndexAccess(archiver, program, *identity));
}

Result<void> IndexAccess::update(bool rebuild, Program& program, const std::string& stemLanguage) {
  watchInterrupts();
  Result<CatchUpOutcome> done = [&] {
    TerminalProgress progress(program.terminal);
    return rebuild ? catchUp_.rebuild(progress, stemLanguage) : catchUp_.run(progress);
  }();
  if (!done) return Failure{done.error()};
  outcome_ = std::move(*done);
  if (outcome_.isReader && outcome_.behind > 0) {
    program.terminal.notice(fmt::format(
        "Another program is writing the word index; {} messages are still missing in it.",
        outcome_.behind));
  }
  if (outcome_.cancelled) {
    return Failure{fmt::format("interrupted; {} messages were read, the next time goes on there",
                               outcome_.added)};
  }
  return {};
}

int failIndex(const std::string& error, Program& program) {
  const int status = program.fail(error);
  return interruptCount() > 0 ? kExitInterrupted : status;
}

}  // namespace keldane
