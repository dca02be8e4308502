#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "archive/server_session.h"
#include "find/word_index.h"

namespace keldane {

/// Takes messages that were deleted from the archive out of its word index, on disk when this ends.
/// Where there is no index, another program writes it or the disk refuses, nothing happens: the
/// next question brings the index in step. One thread at a time.
class IndexForgetter {
 public:
  /// Asks the session which archive it has open; it must have no answer under way.
  IndexForgetter(ServerSession& session, const std::string& supportFolder);
  ~IndexForgetter();
  IndexForgetter(const IndexForgetter&) = delete;
  IndexForgetter& operator=(const IndexForgetter&) = delete;

  void forget(std::uint32_t id);

 private:
  std::unique_ptr<WordIndex> index_;  ///< null: there is none to write to
  bool isChanged_ = false;
};

}  // namespace keldane
