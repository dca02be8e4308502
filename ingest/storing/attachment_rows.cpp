#include "ingest/storing/attachment_rows.h"

#include <array>
#include <memory>

#include "archive/sql_values.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kPartError = "SQL error:";

bool insertPart(ServerSession& session, const MessagePart& part, const std::string& rowName,
                const StatementText& sql, StoreErrors& errors) {
  const std::unique_ptr<Statement> statement = session.makeStatement();
  if (!statement) return errors.fail(kPartError);
  const std::array<BoundValue, 2> values = {BoundValue{upToNul(rowName), BindType::text},
                                            BoundValue{part.data, BindType::blob}};
  if (runStatement(*statement, sql.text(), values) != Ran::done) return errors.fail(kPartError);
  if (!statement->close()) return errors.fail(kPartError);
  return true;
}

}  // namespace

std::string attachmentRowName(std::string_view fileName) {
  std::string name = escapeInline(fileName);
  removeAll(name, "\n");
  return name;
}

void addToAttachNames(std::string& attachNames, const std::string& rowName) {
  // Spelt so: "htmlversion.html" is in the list, by which searches for a name find it, and every
  // "etf" is not.
  if (rowName.empty() || rowName.ends_with("hmtl") || rowName.ends_with("etf")) return;
  if (!attachNames.empty()) attachNames += ',';
  attachNames += rowName;
}

bool canQuoteAsItStands(std::string_view contentType) {
  if (contentType.find('"') != std::string_view::npos) return false;
  // Line ends leave the statement, so a backslash before the last of them ends it.
  const std::size_t last = contentType.find_last_not_of('\n');
  return last == std::string_view::npos || contentType[last] != '\\';
}

std::string attachNamesOf(const std::vector<MessagePart>& parts, std::size_t count) {
  std::string names;
  for (std::size_t i = 0; i < count && i < parts.size(); ++i) {
    addToAttachNames(names, attachmentRowName(parts[i].fileName));
  }
  return names;
}

std::size_t storableParts(const std::vector<MessagePart>& parts, std::size_t count) {
  std::size_t storable = 0;
  for (std::size_t i = 0; i < count && i < parts.size(); ++i) {
    if (canQuoteAsItStands(parts[i].contentType)) ++storable;
  }
  return storable;
}

bool doAttachment(ServerSession& session, std::uint32_t id, const MessagePart& part,
                  std::string& attachNames, StatementText& sql, StoreErrors& errors) {
  const std::string rowName = attachmentRowName(part.fileName);
  addToAttachNames(attachNames, rowName);
  if (!canQuoteAsItStands(part.contentType)) {
    return errors.failForGood(kPartError, "the content type cannot stand between quotes");
  }
  std::string type = part.contentType;
  removeAll(type, "\n");
  sql.start("INSERT INTO attachments (id,type_fld,filename_fld,encode_fld,attach_fld) VALUES(");
  sql.addNumber(id).add(",\"").add(type).add("\",?,");
  sql.addNumber(static_cast<std::int64_t>(part.data.size())).add(",?)");
  return insertPart(session, part, rowName, sql, errors);
}

}  // namespace keldane
