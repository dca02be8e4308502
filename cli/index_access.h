#pragma once

#include <memory>
#include <string>

#include "find/index_catch_up.h"
#include "find/word_index.h"

namespace keldane {

class Archiver;
class Program;

/// Prints why the index cannot be asked and answers the exit status: that of an interrupt after
/// one.
[[nodiscard]] int failIndex(const std::string& error, Program& program);

/// The word index of the archive that the archiver has open, with all that it takes to keep it
/// in step.
class IndexAccess {
 public:
  /// Fails with a sentence when the server does not tell which archive it is.
  [[nodiscard]] static Result<std::unique_ptr<IndexAccess>> open(Archiver& archiver,
                                                                 Program& program);

  /// Brings it in step with a progress line, or builds it anew. Fails with a sentence, also when
  /// the user interrupted it.
  [[nodiscard]] Result<void> update(bool rebuild, Program& program,
                                    const std::string& stemLanguage = {});
  [[nodiscard]] const CatchUpOutcome& outcome() const { return outcome_; }

  WordIndex& index() { return index_; }
  IndexCatchUp& catchUp() { return catchUp_; }
  MessageTextReader& reader() { return reader_; }

 private:
  IndexAccess(Archiver& archiver, Program& program, const std::string& identity);

  AttachmentText documents_;
  MessageTextReader reader_;
  WordIndex index_;
  IndexCatchUp catchUp_;
  CatchUpOutcome outcome_;
};

}  // namespace keldane
