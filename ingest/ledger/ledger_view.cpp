#include "ingest/ledger/ledger_view.h"

#include <optional>

#include "base/text.h"
#include "ingest/ledger/ledger_lines.h"
#include "ingest/ledger/ledger_reader.h"

namespace keldane {
namespace {

constexpr std::string_view kOpenEntries = "open";

/// Characters that steer a terminal are escapes already; what is left is bytes that are no UTF-8.
void addShown(std::string& text, std::string_view value) {
  std::string field;
  ledger::addField(field, value);
  text += '\t';
  text += printable(toUtf8(std::string_view(field).substr(1)));
}

void addLine(std::string& text, std::string_view word, std::string_view detail,
             const std::optional<std::uint64_t>& offset, std::string_view path) {
  text += word;
  addShown(text, detail);
  ledger::addOffset(text, offset);
  addShown(text, path);
  text += '\n';
}

void addOpenEntries(std::string& text, const LedgerState& state) {
  for (const OpenEntry& entry : state.open) {
    const std::string detail =
        entry.insertedId ? "row " + std::to_string(*entry.insertedId) : std::string("no row known");
    addLine(text, kOpenEntries, detail, entry.offsetBytes, entry.path);
  }
}

}  // namespace

Result<std::string> readLedgerLines(const std::string& path, const std::string& only) {
  const Result<LedgerState> state = readLedgerState(path);
  if (!state) return Failure{state.error()};
  if (!state->isLedger) return Failure{path + ": is not a ledger"};
  std::string text;
  LedgerSums sums;
  const Result<void> read = forEachLedgerLine(path, [&](const LedgerLine& line) {
    sums.count(line.outcome);
    const std::string_view word = outcomeName(line.outcome);
    if (!only.empty() && word != only) return;
    addLine(text, word, line.detail, line.offsetBytes, line.path);
  });
  if (!read) return Failure{read.error()};
  if (only.empty() || only == kOpenEntries) addOpenEntries(text, *state);
  if (only.empty()) text += ledger::sumsLine(sums);
  return text;
}

}  // namespace keldane
