#pragma once

#include <cstdint>
#include <string>

#include "ingest/reading/message_reader.h"

namespace keldane {

/// The date menus of the store sheet; "All" or a value.
struct StoreDateForm {
  std::string beginStoreMo = "All";
  std::string beginStoreDa = "All";
  std::string beginStoreYr = "All";
  std::string endStoreMo = "All";
  std::string endStoreDa = "All";
  std::string endStoreYr = "All";
};

inline void resetAll(StoreDateForm& form) { form = StoreDateForm{}; }

/// The limits of a run as its menus have them. Messages of the end day itself, being later than its
/// midnight, lie outside; without a day, February ends on the 28th in every year.
[[nodiscard]] RunRange rangeOf(const StoreDateForm& form);

/// Sets the beginning to the day of a limit as `rangeOf` has them.
void beginAt(StoreDateForm& form, const std::string& limit);

/// Sets the beginning from the date of the newest message stored: that day, or the day two days
/// before `now` when that is earlier. Nothing changes when nothing is stored ("0").
void beginWithNewest(StoreDateForm& form, const std::string& newestDate, std::int64_t now);

}  // namespace keldane
