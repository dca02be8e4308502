#include "output/sql_dump.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "base/text.h"
#include "output/text_encodings.h"

namespace keldane {
namespace {

constexpr std::size_t kLeastHeadingUnits = 5;
constexpr int kLeastBinaryBytes = 1;

constexpr std::string_view kTables =
    "CREATE TABLE IF NOT EXISTS email (id INT UNSIGNED PRIMARY KEY  NOT NULL "
    "AUTO_INCREMENT,from_fld VARCHAR(255) NOT NULL DEFAULT '',to_fld MEDIUMTEXT NOT NULL,subj_fld "
    "MEDIUMTEXT NOT NULL,date_fld datetime NOT NULL,mailbox VARCHAR(255) NOT NULL DEFAULT "
    "'',mailto varchar(127) NOT NULL DEFAULT '',body_fld LONGTEXT NOT NULL,numAttach INTEGER NOT "
    "NULL DEFAULT 0,attachNames mediumtext NOT NULL,attachText LONGTEXT NOT NULL,headings "
    "MEDIUMTEXT NOT NULL,INDEX dateIndex (date_fld));\n"
    "CREATE TABLE IF NOT EXISTS attachments (id INT UNSIGNED NOT NULL,type_fld varchar(127) NOT "
    "NULL DEFAULT '',filename_fld varchar(127) NOT NULL DEFAULT '',encode_fld INT default "
    "0,attach_fld LONGBLOB NOT NULL,INDEX idIndex (id));\n"
    "CREATE TABLE IF NOT EXISTS origemail (id INT UNSIGNED PRIMARY KEY,orig_fld LONGBLOB NOT "
    "NULL);\n"
    "CREATE TABLE IF NOT EXISTS tags (id INT UNSIGNED PRIMARY KEY,cat_fld varchar(127) NOT NULL "
    "DEFAULT '',key_fld varchar(127) NOT NULL DEFAULT '',priority_fld INT DEFAULT 0,notes_fld "
    "mediumtext NOT NULL);\n";

/// The third way into a statement: text of a dump, between single or between double quotes.
std::string dumpText(std::string value, char quote) {
  replaceAll(value, "\\", "\\\\");
  const std::string mark(1, quote);
  replaceAll(value, mark, "\\" + mark);
  return value;
}

std::string single(std::string value) { return dumpText(std::move(value), '\''); }

void writeDumpText(std::string_view value, char quote, OutputFile& file) {
  inPieces(value, [&](std::string_view piece) { file.write(dumpText(std::string(piece), quote)); });
}

/// The name stands in the script without quotes.
Result<std::string> databaseNameOf(std::string name) {
  removeAll(name, " ");
  const bool fits = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '$' || (c & 0x80) != 0;
  });
  const bool isNumber = name.find_first_not_of("0123456789") == std::string::npos;
  if (fits && !isNumber) return name;
  return Failure{fmt::format(
      "\"{}\" cannot be the name of a database in an SQL file: use letters, digits, _ and $",
      name)};
}

/// The lines before the first empty line that has something before it.
std::string_view headingOf(std::string_view source) {
  const std::size_t end = source.find("\n\n", utf16Prefix(source, kLeastHeadingUnits).size());
  return end == std::string_view::npos ? std::string_view() : source.substr(0, end);
}

Result<std::string> sourceOf(const OutputContext& context, std::uint32_t id) {
  const auto rows = queryRows(
      context.session, fmt::format("SELECT orig_fld FROM origemail WHERE origemail.id={}", id));
  if (!rows) return Failure{rows.error()};
  std::string source;
  if ((*rows)->next()) source = textOf(**rows, 0);
  if (context.stripPlist) context.stripPlist(source);
  return source;
}

/// Answers whether there is such a message.
Result<bool> writeEmailRow(const OutputContext& context, std::uint32_t id, std::uint32_t newId,
                           std::string_view heading, OutputFile& file) {
  enum Column : std::size_t {
    kDate,
    kFrom,
    kTo,
    kSubject,
    kBody,
    kMailbox,
    kMailto,
    kNumAttach,
    kNames,
    kAttachText
  };
  const auto rows = queryRows(
      context.session,
      fmt::format("SELECT date_fld,from_fld,to_fld,subj_fld,body_fld,mailbox,mailto,numAttach,"
                  "attachNames,attachText,headings FROM email WHERE id={}",
                  id));
  if (!rows) return Failure{rows.error()};
  if (!(*rows)->next()) return false;
  const auto value = [&rows](std::size_t column) { return textOf(**rows, column); };
  file.write(fmt::format("INSERT INTO email VALUES({},'{}','{}','{}','{}','{}','{}','", newId,
                         single(value(kFrom)), single(value(kTo)), single(value(kSubject)),
                         value(kDate), single(value(kMailbox)), single(value(kMailto))));
  std::string recoded;
  writeDumpText(viewOf(**rows, kBody, recoded), '\'', file);
  file.write(fmt::format("',{},\"", leadingInt(value(kNumAttach))));
  writeDumpText(viewOf(**rows, kNames, recoded), '"', file);
  file.write("\",\"");
  writeDumpText(viewOf(**rows, kAttachText, recoded), '"', file);
  file.write("\",\"");
  writeDumpText(heading, '"', file);
  file.write("\");\n");
  return true;
}

Result<void> writeTags(const OutputContext& context, std::uint32_t id, std::uint32_t newId,
                       OutputFile& file) {
  const auto rows = queryRows(
      context.session,
      fmt::format("SELECT cat_fld,key_fld,priority_fld,notes_fld FROM tags WHERE id={}", id));
  if (!rows) return Failure{rows.error()};
  if (!(*rows)->next()) return {};
  std::array<std::string, 4> values;
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = textOf(**rows, i);
  if (std::all_of(values.begin(), values.end(), [](const auto& text) { return text.empty(); })) {
    return {};
  }
  file.write(fmt::format("INSERT INTO tags VALUES({},'{}','{}',{},'{}');\n", newId,
                         single(values[0]), single(values[1]), leadingInt(values[2]),
                         single(values[3])));
  return {};
}

void writeHexadecimal(std::string_view bytes, OutputFile& file) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr std::size_t kPieceBytes = 32768;
  std::string piece;
  while (!bytes.empty()) {
    piece.clear();
    for (const char c : bytes.substr(0, kPieceBytes)) {
      const auto byte = static_cast<unsigned char>(c);
      piece += kDigits[byte >> 4U];
      piece += kDigits[byte & 15U];
    }
    file.write(piece);
    bytes.remove_prefix(std::min(bytes.size(), kPieceBytes));
  }
}

void writeAttachment(const StoredAttachment& attachment, std::uint32_t newId, OutputFile& file) {
  const bool isBinary = attachment.lengthBytes >= kLeastBinaryBytes;
  // A type comes out of the mail too: one with a quote in it would end the value.
  file.write(fmt::format("INSERT INTO attachments VALUES({},'{}','{}',{},", newId,
                         single(attachment.type), single(attachment.name),
                         isBinary ? attachment.lengthBytes : 0));
  if (isBinary) {
    file.write("X'");
    writeHexadecimal(attachment.bytes, file);
    file.write("');\n");
  } else {
    file.write("'");
    writeDumpText(attachmentText(attachment), '\'', file);
    file.write("');\n");
  }
}

Result<void> writeMessage(const OutputContext& context, std::uint32_t id, std::uint32_t newId,
                          bool hasRawSource, OutputFile& file, OutputReport& report) {
  std::string source;
  if (hasRawSource) {
    Result<std::string> read = sourceOf(context, id);
    if (read) {
      source = std::move(*read);
    } else {
      missSource(context, read.error(), report);
    }
  }
  const Result<bool> row = writeEmailRow(context, id, newId, headingOf(source), file);
  if (!row) return Failure{row.error()};
  if (!*row) return {};
  if (Result<void> tags = writeTags(context, id, newId, file); !tags) return tags;
  if (!source.empty()) {
    file.write(fmt::format("INSERT INTO origemail VALUES({},'", newId));
    writeDumpText(source, '\'', file);
    file.write("');\n");
    source = {};  // not beside the attachments
  }
  const auto count =
      readAttachments(context.session, id, [&](const StoredAttachment& attachment) -> Result<void> {
        writeAttachment(attachment, newId, file);
        return {};
      });
  if (!count) return Failure{count.error()};
  ++report.messages;
  return {};
}

}  // namespace

Result<OutputReport> exportSQL(const OutputContext& context, const MessageList& list,
                               const SqlDumpRequest& request) {
  const Result<std::string> name = databaseNameOf(request.databaseName);
  if (!name) return Failure{name.error()};
  if (request.firstId == 0 || list.size > 0xFFFFFFFFU - request.firstId) {
    return Failure{"the first id must be 1 or more, and leave numbers for all messages"};
  }
  OutputFile file(request.path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  file.write(
      fmt::format("CREATE DATABASE IF NOT EXISTS {0};\nUSE {0};\n{1}SET CHARACTER SET "
                  "utf8;\n",
                  *name, kTables));
  return carryToFile(context, list, file, true, [&](std::size_t index, OutputReport& report) {
    const auto newId = static_cast<std::uint32_t>(request.firstId + index);
    return writeMessage(context, list.id(index), newId, request.hasRawSource, file, report);
  });
}

}  // namespace keldane
