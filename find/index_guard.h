#pragma once

#include <string>
#include <utility>

#include <xapian.h>

#include "base/result.h"

namespace keldane {

/// Runs `work`, which calls the index library and answers a `Result`; what the library throws
/// becomes a failure.
template <typename Work>
auto guardIndex(Work&& work) -> decltype(work()) {
  try {
    return std::forward<Work>(work)();
  } catch (const Xapian::Error& error) {
    return Failure{"the word index: " + error.get_msg()};
  }
}

}  // namespace keldane
