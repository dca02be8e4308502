#pragma once

#include <string>

#include "ingest/reading/message_date.h"

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

/// Sets the beginning to the day of a limit as `rangeOf` has them; an empty one changes nothing.
void beginAt(StoreDateForm& form, const std::string& limit);

}  // namespace keldane
