#pragma once

#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace keldane {

/// What an operation could not do, in a sentence for the user, and what it is about. Where the
/// server or its client library has refused something, the sentence ends with their words.
struct Fault {
  enum class About {
    server,    ///< the session, or a statement
    archive,   ///< the database that is asked for, or its name
    settings,  ///< the file of preferences
    schedule,
  };
  About about = About::server;
  std::string text;
};

/// In the order in which they happened; empty: all is done.
using Faults = std::vector<Fault>;

inline void append(Faults& faults, Faults more) {
  faults.insert(faults.end(), std::make_move_iterator(more.begin()),
                std::make_move_iterator(more.end()));
}

}  // namespace keldane
