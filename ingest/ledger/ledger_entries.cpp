#include "ingest/ledger/ledger_entries.h"

#include <charconv>

#include "base/hex.h"

namespace keldane {
namespace {

struct OutcomeWord {
  LedgerOutcome outcome;
  std::string_view word;
};

constexpr OutcomeWord kOutcomeWords[] = {
    {LedgerOutcome::archived, "archived"},   {LedgerOutcome::duplicate, "duplicate"},
    {LedgerOutcome::excluded, "excluded"},   {LedgerOutcome::dropped, "dropped"},
    {LedgerOutcome::failed, "failed"},       {LedgerOutcome::markedDeleted, "marked-deleted"},
    {LedgerOutcome::notMail, "not-mail"},    {LedgerOutcome::unreadable, "unreadable"},
    {LedgerOutcome::postponed, "postponed"}, {LedgerOutcome::unchanged, "unchanged"},
};

}  // namespace

std::string_view outcomeName(LedgerOutcome outcome) {
  for (const OutcomeWord& entry : kOutcomeWords) {
    if (entry.outcome == outcome) return entry.word;
  }
  return {};
}

void LedgerSums::count(LedgerOutcome outcome) {
  switch (outcome) {
    case LedgerOutcome::archived:
      ++archived;
      break;
    case LedgerOutcome::duplicate:
      ++duplicates;
      break;
    case LedgerOutcome::excluded:
      ++excluded;
      break;
    case LedgerOutcome::dropped:
      ++dropped;
      break;
    case LedgerOutcome::failed:
      ++failed;
      break;
    case LedgerOutcome::markedDeleted:
      ++markedDeleted;
      break;
    case LedgerOutcome::notMail:
      ++notMail;
      break;
    case LedgerOutcome::unreadable:
      ++unreadable;
      break;
    case LedgerOutcome::postponed:
      ++postponed;
      break;
    case LedgerOutcome::unchanged:
      ++unchanged;
      break;
  }
  if (!isOfFile(outcome)) ++met;
}

std::optional<LedgerOutcome> findOutcome(std::string_view name) {
  for (const OutcomeWord& entry : kOutcomeWords) {
    if (entry.word == name) return entry.outcome;
  }
  return std::nullopt;
}

}  // namespace keldane

namespace keldane::ledger {
namespace {

constexpr std::string_view kNoOffset = "-";

/// The word, key, database, offset, nine of the mark, the path.
constexpr std::size_t kEntryFields = 14;

bool isControl(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value < 0x20 || value == 0x7f;
}

bool readUnsigned(std::string_view field, std::uint32_t& value) {
  const std::optional<std::uint64_t> number = numberOf(field);
  if (!number || *number > 0xffffffffULL) return false;
  value = static_cast<std::uint32_t>(*number);
  return true;
}

bool readSize(std::string_view field, std::size_t& value) {
  const std::optional<std::uint64_t> number = numberOf(field);
  if (number) value = static_cast<std::size_t>(*number);
  return number.has_value();
}

}  // namespace

void addField(std::string& line, std::string_view value) {
  line += '\t';
  for (const char byte : value) {
    if (byte == '\\') {
      line += "\\\\";
    } else if (!isControl(byte)) {
      line += byte;
    } else if (byte == '\t') {
      line += "\\t";
    } else if (byte == '\n') {
      line += "\\n";
    } else {
      line += "\\x";
      line += hexText({&byte, 1});
    }
  }
}

void addField(std::string& line, std::uint64_t value) {
  line += '\t';
  line += std::to_string(value);
}

void addOffset(std::string& line, const std::optional<std::uint64_t>& offset) {
  if (offset) {
    addField(line, *offset);
  } else {
    addField(line, kNoOffset);
  }
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::size_t tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t')) {
    fields.push_back(line.substr(0, tab));
    line.remove_prefix(tab + 1);
  }
  fields.push_back(line);
  return fields;
}

std::string unescapeField(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      text += field[i];
      continue;
    }
    const char kind = field[++i];
    if (kind == 't') {
      text += '\t';
    } else if (kind == 'n') {
      text += '\n';
    } else if (kind == 'x' && i + 2 < field.size() && hexValue(field[i + 1]) >= 0 &&
               hexValue(field[i + 2]) >= 0) {
      text += static_cast<char>(hexValue(field[i + 1]) * 16 + hexValue(field[i + 2]));
      i += 2;
    } else {
      text += kind;
    }
  }
  return text;
}

std::optional<std::uint64_t> numberOf(std::string_view field) {
  std::uint64_t number = 0;
  const auto result = std::from_chars(field.data(), field.data() + field.size(), number);
  if (result.ec != std::errc() || result.ptr != field.data() + field.size()) return std::nullopt;
  return number;
}

void addEntry(std::string& out, std::string_view word, const OpenEntry& entry) {
  const ExpectedRows& mark = entry.mark;
  out += word;
  addField(out, entry.key);
  addField(out, entry.database);
  addOffset(out, entry.offsetBytes);
  addField(out, mark.afterId);
  addField(out, mark.msgDate);
  addField(out, mark.fingerprint);
  addField(out, std::uint64_t{mark.withSource ? 1U : 0U});
  addField(out, std::uint64_t{mark.headingsBytes});
  addField(out, std::uint64_t{mark.partCount});
  addField(out, std::uint64_t{mark.attachNamesBytes});
  addField(out, std::uint64_t{mark.attachTextBytes});
  addField(out, std::uint64_t{mark.attempt});
  addField(out, entry.path);
  out += '\n';
}

std::optional<OpenEntry> parseEntry(const std::vector<std::string_view>& fields) {
  if (fields.size() != kEntryFields) return std::nullopt;
  const std::optional<std::uint64_t> key = numberOf(fields[1]);
  if (!key) return std::nullopt;
  OpenEntry entry;
  entry.key = *key;
  entry.database = unescapeField(fields[2]);
  if (fields[3] != kNoOffset) {
    entry.offsetBytes = numberOf(fields[3]);
    if (!entry.offsetBytes) return std::nullopt;
  }
  ExpectedRows& mark = entry.mark;
  mark.msgDate = unescapeField(fields[5]);
  mark.fingerprint = unescapeField(fields[6]);
  mark.withSource = fields[7] != "0";
  if (!readUnsigned(fields[4], mark.afterId) || !readSize(fields[8], mark.headingsBytes) ||
      !readSize(fields[9], mark.partCount) || !readSize(fields[10], mark.attachNamesBytes) ||
      !readSize(fields[11], mark.attachTextBytes) || !readUnsigned(fields[12], mark.attempt)) {
    return std::nullopt;
  }
  entry.path = unescapeField(fields[13]);
  return entry;
}

void addCut(std::string& out, const InterruptedRun& run) {
  out += kCut;
  addField(out, run.database);
  addField(out, std::uint64_t{run.fromId});
  addField(out, std::uint64_t{run.lastClosedId});
  addField(out, std::uint64_t{run.toId});
  for (const std::uint32_t id : run.sourcelessIds) addField(out, std::uint64_t{id});
  out += '\n';
}

std::optional<InterruptedRun> parseCut(const std::vector<std::string_view>& fields) {
  if (fields.size() < 5) return std::nullopt;
  InterruptedRun run;
  run.database = unescapeField(fields[1]);
  if (!readUnsigned(fields[2], run.fromId) || !readUnsigned(fields[3], run.lastClosedId) ||
      !readUnsigned(fields[4], run.toId)) {
    return std::nullopt;
  }
  for (std::size_t i = 5; i < fields.size(); ++i) {
    std::uint32_t id = 0;
    if (!readUnsigned(fields[i], id)) return std::nullopt;
    run.sourcelessIds.push_back(id);
  }
  return run;
}

void addUnfinished(std::string& out, const UnfinishedSource& source) {
  out += kUnfinished;
  addField(out, source.database);
  addField(out, source.from);
  addField(out, source.to);
  addField(out, source.startedAt);
  addField(out, source.source);
  out += '\n';
}

std::optional<UnfinishedSource> parseUnfinished(const std::vector<std::string_view>& fields) {
  if (fields.size() != 6) return std::nullopt;
  return UnfinishedSource{unescapeField(fields[1]), unescapeField(fields[5]),
                          unescapeField(fields[2]), unescapeField(fields[3]),
                          unescapeField(fields[4])};
}

std::string sumsLine(const LedgerSums& sums) {
  std::string line(kSums);
  addField(line, "met=" + std::to_string(sums.met));
  addField(line, "archived=" + std::to_string(sums.archived));
  addField(line, "duplicates=" + std::to_string(sums.duplicates));
  addField(line, "excluded=" + std::to_string(sums.excluded));
  addField(line, "dropped=" + std::to_string(sums.dropped));
  addField(line, "failed=" + std::to_string(sums.failed));
  addField(line, "marked-deleted=" + std::to_string(sums.markedDeleted));
  addField(line, "not-mail=" + std::to_string(sums.notMail));
  addField(line, "unreadable=" + std::to_string(sums.unreadable));
  addField(line, "postponed=" + std::to_string(sums.postponed));
  addField(line, "unchanged=" + std::to_string(sums.unchanged));
  line += '\n';
  return line;
}

}  // namespace keldane::ledger
