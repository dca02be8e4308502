#include "ingest/ledger/ledger_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/text.h"
#include "ingest/ledger/ledger_entries.h"

namespace keldane {
namespace {

/// The last line of an orderly ledger is shorter than this.
constexpr std::streamoff kTailBytes = 256;

using Fields = std::vector<std::string_view>;

/// Hands over each whole line, without its line end. A last line without one was cut off.
template <typename Take>
void forEachLine(std::istream& in, Take take) {
  std::string line;
  while (std::getline(in, line) && !in.eof()) take(std::string_view(line));
}

Result<std::ifstream> openLedger(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return Failure{path + ": no such ledger"};
  std::ifstream in(path, std::ios::binary);
  if (!in) return Failure{path + ": cannot be read"};
  return in;
}

bool beginsAsLedger(std::istream& in, std::uintmax_t size) {
  std::string beginning(std::min<std::uintmax_t>(size, ledger::kHeader.size()), '\0');
  in.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  in.clear();
  in.seekg(0);
  return ledger::kHeader.starts_with(beginning);
}

/// The last line says that nothing was left open and no run was cut off.
bool endsWithNothingLeft(std::istream& in, std::uintmax_t size) {
  const auto length = std::min<std::streamoff>(static_cast<std::streamoff>(size), kTailBytes);
  std::string tail(static_cast<std::size_t>(length), '\0');
  in.seekg(-length, std::ios::end);
  in.read(tail.data(), length);
  in.clear();
  in.seekg(0);
  if (!tail.ends_with('\n')) return false;
  tail.pop_back();
  const std::size_t begin = tail.rfind('\n') + 1;
  const Fields fields = ledger::fieldsOf(std::string_view(tail).substr(begin));
  return fields.size() == 3 && fields[0] == ledger::kEnd && fields[2] == "0";
}

std::optional<LedgerLine> parseOutcome(const Fields& fields) {
  if (fields.size() != 4) return std::nullopt;
  const std::optional<LedgerOutcome> outcome = findOutcome(fields[0]);
  if (!outcome) return std::nullopt;
  return LedgerLine{*outcome, ledger::unescapeField(fields[1]), ledger::numberOf(fields[2]),
                    ledger::unescapeField(fields[3])};
}

/// Follows a ledger line by line and keeps what is open.
class StateReader {
 public:
  explicit StateReader(LedgerState& state) : state_(state) {}

  void take(std::string_view line) {
    const Fields fields = ledger::fieldsOf(line);
    if (line.starts_with('#')) {
      takeMark(fields);
    } else if (fields.size() == 4 && current_ != 0) {
      const std::optional<LedgerOutcome> outcome = findOutcome(fields[0]);
      if (outcome && !isOfFile(*outcome)) closeCurrent(*outcome);
    }
  }

 private:
  void takeMark(const Fields& fields) {
    const std::string_view word = fields[0];
    if (word == ledger::kOpen || word == ledger::kKept) {
      takeEntry(fields);
    } else if (word == ledger::kRow && fields.size() == 3) {
      takeRow(fields);
    } else if (word == ledger::kLeft && fields.size() >= 2) {
      if (fields.size() > 2 && fields[2] == ledger::kRefused) takeRefusal();
      current_ = 0;
    } else if (word == ledger::kSettled && fields.size() == 2) {
      std::erase_if(state_.open, [key = ledger::numberOf(fields[1])](const OpenEntry& entry) {
        return entry.key == key;
      });
    } else if (word == ledger::kEnd && fields.size() == 3) {
      state_.orderly = true;
    } else {
      takeRunMark(word, fields);
    }
  }

  void takeRunMark(std::string_view word, const Fields& fields) {
    if (word == "#ledger" && fields.size() == 6) {
      state_.database = ledger::unescapeField(fields[5]);
      state_.greatestId = static_cast<std::uint32_t>(ledger::numberOf(fields[4]).value_or(0));
      state_.orderly = false;
    } else if (word == ledger::kCut) {
      if (auto run = ledger::parseCut(fields)) state_.cuts.push_back(std::move(*run));
    } else if (word == ledger::kUncut && fields.size() == 3) {
      std::erase_if(state_.cuts, [database = ledger::unescapeField(fields[1]),
                                  from = ledger::numberOf(fields[2])](const InterruptedRun& run) {
        return run.database == database && run.fromId == from;
      });
    } else if (word == ledger::kElsewhere && fields.size() == 2) {
      state_.elsewhere.push_back(ledger::unescapeField(fields[1]));
    } else if (word == ledger::kUnfinished) {
      if (auto source = ledger::parseUnfinished(fields)) {
        state_.unfinished.push_back(std::move(*source));
      }
    } else if (word == ledger::kFinished && fields.size() == 3) {
      std::erase_if(state_.unfinished,
                    [database = ledger::unescapeField(fields[1]),
                     source = ledger::unescapeField(fields[2])](const UnfinishedSource& it) {
                      return it.database == database && it.source == source;
                    });
    }
  }

  void takeEntry(const Fields& fields) {
    std::optional<OpenEntry> entry = ledger::parseEntry(fields);
    if (!entry) return;
    if (fields[0] == ledger::kOpen) current_ = entry->key;
    state_.open.push_back(std::move(*entry));
  }

  void takeRow(const Fields& fields) {
    const std::optional<std::uint64_t> id = ledger::numberOf(fields[2]);
    const auto entry = find(ledger::numberOf(fields[1]).value_or(0));
    if (id && entry != state_.open.end()) entry->insertedId = static_cast<std::uint32_t>(*id);
  }

  /// The attempt did not cost the server.
  void takeRefusal() {
    const auto entry = find(current_);
    if (entry != state_.open.end() && entry->mark.attempt > 0) --entry->mark.attempt;
  }

  void closeCurrent(LedgerOutcome outcome) {
    const auto entry = find(current_);
    current_ = 0;
    if (entry == state_.open.end()) return;
    if (entry->insertedId) {
      state_.lastClosedId = std::max(state_.lastClosedId, *entry->insertedId);
      if (outcome != LedgerOutcome::archived) state_.sourcelessIds.push_back(*entry->insertedId);
    }
    state_.open.erase(entry);
  }

  /// From the back: the entry wanted is nearly always the newest.
  std::vector<OpenEntry>::iterator find(std::uint64_t key) {
    const auto found = std::find_if(state_.open.rbegin(), state_.open.rend(),
                                    [key](const OpenEntry& entry) { return entry.key == key; });
    return found == state_.open.rend() ? state_.open.end() : std::prev(found.base());
  }

  LedgerState& state_;
  std::uint64_t current_ = 0;
};

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

Result<void> forEachLedgerLine(const std::string& path,
                               const std::function<void(const LedgerLine&)>& take) {
  Result<std::ifstream> in = openLedger(path);
  if (!in) return Failure{in.error()};
  forEachLine(*in, [&take](std::string_view line) {
    if (line.starts_with('#')) return;
    if (const auto parsed = parseOutcome(ledger::fieldsOf(line))) take(*parsed);
  });
  return {};
}

Result<LedgerState> readLedgerState(const std::string& path) {
  LedgerState state;
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return state;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size == 0) return state;
  Result<std::ifstream> in = openLedger(path);
  if (!in) return Failure{in.error()};
  state.isLedger = beginsAsLedger(*in, size);
  if (!state.isLedger || endsWithNothingLeft(*in, size)) return state;
  StateReader reader(state);
  forEachLine(*in, [&reader](std::string_view line) { reader.take(line); });
  return state;
}

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
