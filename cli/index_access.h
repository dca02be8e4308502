#pragma once

#include <memory>
#include <string>

#include "find/index_catch_up.h"
#include "find/word_index.h"

namespace keldane {

class Archiver;
class Program;

/// The word index of the archive that the archiver has open, with all that it takes to keep it
/// in step.
class IndexAccess {
 public:
  /// Null when the server does not tell which archive it is; that has been printed.
  [[nodiscard]] static std::unique_ptr<IndexAccess> open(Archiver& archiver, Program& program);

  /// Brings it in step with a progress line, or builds it anew. False when that failed or was
  /// interrupted; the reason has been printed and the exit status is set.
  [[nodiscard]] bool update(bool rebuild, Program& program);
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
