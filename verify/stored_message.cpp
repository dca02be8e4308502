#include "verify/stored_message.h"

#include <array>
#include <cstdlib>
#include <memory>

#include <fmt/format.h>

#include "base/sha256.h"

namespace keldane {
namespace {

constexpr std::array<std::string_view, 11> kColumns = {
    "date_fld", "from_fld",  "to_fld",      "subj_fld",   "mailto",  "mailbox",
    "body_fld", "numAttach", "attachNames", "attachText", "headings"};
enum : std::size_t { kId, kFirstColumn, kSource = kFirstColumn + kColumns.size(), kPrintId };

std::string text(const ResultRows& rows, std::size_t column) {
  return std::string(rows.cell(column).value_or(""));
}

std::uint64_t number(const ResultRows& rows, std::size_t column) {
  return std::strtoull(text(rows, column).c_str(), nullptr, 10);
}

StoredMessage::Fingerprint fingerprintOf(const ResultRows& rows) {
  StoredMessage::Fingerprint print;
  std::size_t at = kPrintId;
  print.sourceSha256 = text(rows, ++at);
  print.contentSha256 = text(rows, ++at);
  print.reading = static_cast<int>(number(rows, ++at));
  print.sizeBytes = number(rows, ++at);
  if (rows.cell(++at)) print.encoding = static_cast<int>(number(rows, at));
  print.lineEnds = static_cast<int>(number(rows, ++at));
  print.path = text(rows, ++at);
  if (rows.cell(++at)) print.offsetBytes = number(rows, at);
  if (rows.cell(++at)) print.packedBytes = text(rows, at);
  return print;
}

/// One row whatever of the message is there.
std::string selectSql(std::uint32_t id, bool hasFingerprints) {
  std::string sql = "SELECT e.id";
  for (const std::string_view column : kColumns) sql.append(",e.").append(column);
  sql += ",o.orig_fld";
  if (hasFingerprints) {
    sql +=
        ",f.id,f.source_sha256,f.content_sha256,f.reading,f.size_bytes,f.encoding,f.line_ends,"
        "f.path,f.offset_bytes,f.exact_zstd";
  }
  sql += fmt::format(
      " FROM (SELECT {0} AS id) m LEFT JOIN email e ON e.id=m.id LEFT JOIN origemail o ON "
      "o.id=m.id",
      id);
  if (hasFingerprints) sql += " LEFT JOIN keldane_fingerprints f ON f.id=m.id";
  return sql;
}

}  // namespace

const std::string& StoredMessage::column(std::string_view name) const {
  static const std::string kNone;
  const auto found = columns.find(name);
  return found == columns.end() ? kNone : found->second;
}

Result<StoredMessage> loadStoredMessage(ServerSession& session, std::uint32_t id,
                                        bool hasFingerprints) {
  StoredMessage message;
  message.id = id;
  {
    const bool sent = session.query(selectSql(id, hasFingerprints));
    const auto rows = sent ? session.storeResult() : nullptr;
    if (!rows || !rows->next()) return Failure{session.error()};
    message.hasRow = rows->cell(kId).has_value();
    for (std::size_t i = 0; message.hasRow && i < kColumns.size(); ++i) {
      message.columns.emplace(kColumns[i], text(*rows, kFirstColumn + i));
    }
    if (rows->cell(kSource)) message.source = text(*rows, kSource);
    if (hasFingerprints && rows->cell(kPrintId)) message.fingerprint = fingerprintOf(*rows);
  }
  const std::string sql = fmt::format(
      "SELECT type_fld,filename_fld,encode_fld,attach_fld FROM attachments WHERE id={}", id);
  const auto rows = session.query(sql) ? session.useResult() : nullptr;
  if (!rows) return Failure{session.error()};
  while (rows->next()) {
    const std::string_view bytes = rows->cell(3).value_or("");
    message.attachments.push_back(
        {text(*rows, 0), text(*rows, 1), number(*rows, 2), bytes.size(), sha256(bytes)});
  }
  // A link that is cut ends the rows as the last one does.
  if (session.errorNumber() != 0) return Failure{session.error()};
  return message;
}

}  // namespace keldane
