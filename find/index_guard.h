#pragma once

#include <string>
#include <utility>

#include <xapian.h>

#include "base/result.h"

namespace keldane {

/// How failures begin of an index that another program has written to since it was opened, and of
/// one that has to be made anew.
inline const std::string kChangedIndex = "the word index has changed: ";
inline const std::string kDamagedIndex = "the word index is damaged: ";

/// Runs `work`, which calls the index library and answers a `Result`; what the library throws
/// becomes a failure.
template <typename Work>
auto guardIndex(Work&& work) -> decltype(work()) {
  try {
    return std::forward<Work>(work)();
  } catch (const Xapian::DatabaseModifiedError& error) {
    return Failure{kChangedIndex + error.get_msg()};
  } catch (const Xapian::DatabaseCorruptError& error) {
    return Failure{kDamagedIndex + error.get_msg()};
  } catch (const Xapian::Error& error) {
    return Failure{"the word index: " + error.get_msg()};
  }
}

}  // namespace keldane
