#pragma once

#include <string>

#include "base/result.h"

namespace keldane {

/// The lines of a ledger for the eye: outcome, detail, offset and path between tabs, fit for a
/// terminal, and the sums at the end. `only` keeps the lines of one outcome ("dropped"); "open"
/// asks for the messages whose storing was begun and not ended; empty: all. Fails when the file
/// cannot be read or is no ledger.
[[nodiscard]] Result<std::string> readLedgerLines(const std::string& path, const std::string& only);

}  // namespace keldane
