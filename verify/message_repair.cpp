#include "verify/message_repair.h"

#include <array>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "base/hex.h"
#include "base/text.h"
#include "ingest/storing/attachment_rows.h"
#include "ingest/storing/store_errors.h"

namespace keldane {
namespace {

class NoLog : public StoreLog {
 public:
  void write(const std::string&) override {}
};

}  // namespace

Result<void> MessageRepair::send(const std::string& sql) {
  if (session_.query(sql)) return {};
  return Failure{session_.error()};
}

Result<void> MessageRepair::execute(const std::string& sql, const std::vector<BoundValue>& values) {
  const std::unique_ptr<Statement> statement = session_.makeStatement();
  const bool done = statement && statement->prepare(sql) && statement->bind(values) &&
                    statement->execute() && statement->close();
  if (done) return {};
  return Failure{session_.error()};
}

Result<void> MessageRepair::mend(const MessageCheck& check) {
  Result<void> done = send("START TRANSACTION");
  if (done) done = mendAll(check);
  if (done) done = send("COMMIT");
  // Over a link that is cut it is the server that takes it back.
  if (!done) static_cast<void>(session_.query("ROLLBACK"));
  return done;
}

Result<void> MessageRepair::mendAll(const MessageCheck& check) {
  bool isPrintDue = false;
  for (const Finding& finding : check.findings()) {
    if (!finding.canMend) continue;
    if (finding.kind == FaultKind::fingerprint) {
      isPrintDue = true;
      continue;
    }
    Result<void> done = mendOne(check, finding);
    if (!done) return done;
  }
  return isPrintDue ? writeFingerprint(check) : Result<void>{};
}

Result<void> MessageRepair::mendOne(const MessageCheck& check, const Finding& finding) {
  const std::uint32_t id = check.stored().id;
  switch (finding.kind) {
    case FaultKind::row:
      return insertRow(check);
    case FaultKind::source: {
      const std::string source = check.wantedSource();
      return execute(fmt::format("REPLACE INTO origemail (id,orig_fld) VALUES({},?)", id),
                     {{source, BindType::blob}});
    }
    case FaultKind::column:
      return execute(fmt::format("UPDATE email SET {}=? WHERE id={}", finding.column, id),
                     {{check.wantedColumn(finding.column)}});
    case FaultKind::attachment:
      return writeAttachment(check, finding);
    default:
      return {};
  }
}

Result<void> MessageRepair::insertRow(const MessageCheck& check) {
  constexpr std::array<const char*, 11> kColumns = {
      "date_fld", "from_fld",  "to_fld",      "subj_fld",   "mailto",  "mailbox",
      "body_fld", "numAttach", "attachNames", "attachText", "headings"};
  std::string names;
  std::string marks;
  std::vector<BoundValue> values;
  for (const char* const column : kColumns) {
    names += fmt::format(",{}", column);
    marks += ",?";
    values.push_back({check.wantedColumn(column)});
  }
  return execute(
      fmt::format("INSERT INTO email (id{}) VALUES({}{})", names, check.stored().id, marks),
      values);
}

Result<void> MessageRepair::writeAttachment(const MessageCheck& check, const Finding& finding) {
  const std::uint32_t id = check.stored().id;
  const MessagePart& part = check.wanted().msgParts[finding.part];
  if (finding.row != Finding::kNone) {
    return replaceAttachment(id, part, check.stored().attachments[finding.row]);
  }
  NoLog log;
  StoreErrors errors(session_, log, {});
  std::string names;
  StatementText sql;
  const std::string label;
  errors.begin(label);
  if (doAttachment(session_, id, part, names, sql, errors)) return {};
  return Failure{errors.first()};
}

/// Attachments have no key: the row is the one that holds what was found in it.
Result<void> MessageRepair::replaceAttachment(std::uint32_t id, const MessagePart& part,
                                              const StoredMessage::Attachment& row) {
  std::string type = part.contentType;
  removeAll(type, "\n");
  const std::string name = attachmentRowName(part.fileName);
  const std::string digest = hexText(row.sha256);
  return execute(
      fmt::format("UPDATE attachments SET type_fld=?,filename_fld=?,encode_fld={},attach_fld=? "
                  "WHERE id={} AND BINARY filename_fld=? AND BINARY type_fld=? AND "
                  "SHA2(attach_fld,256)=? LIMIT 1",
                  part.data.size(), id),
      {{type}, {upToNul(name)}, {part.data, BindType::blob}, {row.name}, {row.type}, {digest}});
}

Result<void> MessageRepair::writeFingerprint(const MessageCheck& check) {
  Fingerprints prints(
      {.session = session_, .declaredCharsets = [&check] { return check.declaredCharsets(); }});
  if (prints.write(check.stored().id, check.wantedFingerprint())) return {};
  return Failure{session_.error()};
}

}  // namespace keldane
