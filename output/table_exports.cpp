#include "output/table_exports.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "base/base64.h"
#include "base/text.h"
#include "output/text_encodings.h"
#include "output/utf16_piece.h"

namespace keldane {
namespace {

std::string tabText(std::string text) {
  for (char& c : text) {
    c = c == '\t' ? ' ' : c == '\r' || c == '\n' ? '\v' : c;
  }
  return text;
}

std::string commaText(std::string text) {
  replaceAll(text, "\"", "\"\"");
  return text;
}

/// The two prescribed tables differ in nothing else.
struct TableStyle {
  std::string_view separator;
  std::string_view quote;
  std::string (*escaped)(std::string text);
};

std::string headLine(const TableStyle& style, bool hasRawSource) {
  std::string line = "id,datetime,from,to,subject,mailto,mailbox,body,numattach";
  if (hasRawSource) line += ",rawsource";
  replaceAll(line, ",", style.separator);
  return line + "\n";
}

void addValue(const TableStyle& style, std::string_view value, Utf16Piece& line) {
  line.add(style.quote);
  inPieces(value, [&](std::string_view piece) { line.add(style.escaped(std::string(piece))); });
  line.add(style.quote);
}

/// The source as the table has it; empty, and counted, when it is not to be had.
std::string sourceOf(const OutputContext& context, std::uint32_t id, OutputReport& report) {
  Result<std::string> source = queryCell(
      context.session, fmt::format("SELECT orig_fld FROM origemail WHERE origemail.id={}", id));
  if (!source) {
    missSource(context, source.error(), report);
    return {};
  }
  std::string text = std::move(*source);
  if (!isValidUtf8(text)) text = toUtf8(text);
  if (context.stripPlist) context.stripPlist(text);
  return text;
}

Result<void> writeRow(const OutputContext& context, const TableStyle& style, std::uint32_t id,
                      bool hasRawSource, OutputFile& file, OutputReport& report) {
  Utf16Piece line(file);
  {
    const auto rows = queryRows(
        context.session,
        fmt::format("SELECT id,date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach "
                    "FROM email WHERE id={}",
                    id));
    if (!rows) return Failure{rows.error()};
    // Deleted since the list was made.
    if (!(*rows)->next()) return {};
    std::string recoded;
    for (std::size_t column = 0; column < (*rows)->fieldCount(); ++column) {
      if (column > 0) line.add(style.separator);
      addValue(style, viewOf(**rows, column, recoded), line);
    }
  }
  if (hasRawSource) {
    line.add(style.separator);
    addValue(style, sourceOf(context, id, report), line);
  }
  line.add("\n");
  ++report.messages;
  return {};
}

Result<OutputReport> exportTable(const OutputContext& context, const MessageList& list,
                                 const std::string& path, bool hasRawSource,
                                 const TableStyle& style) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  file.write(utf16WithMark(headLine(style, hasRawSource)));
  return carryToFile(context, list, file, true, [&](std::size_t index, OutputReport& report) {
    return writeRow(context, style, list.id(index), hasRawSource, file, report);
  });
}

/// What the lossless tables hold of a message: the names of their columns, and the columns.
struct Column {
  const char* name;
  const char* sql;
};
constexpr std::array<Column, 12> kColumns = {{{"id", "id"},
                                              {"date", "date_fld"},
                                              {"from", "from_fld"},
                                              {"to", "to_fld"},
                                              {"subject", "subj_fld"},
                                              {"mailto", "mailto"},
                                              {"mailbox", "mailbox"},
                                              {"body", "body_fld"},
                                              {"numattach", "numAttach"},
                                              {"attachnames", "attachNames"},
                                              {"attachtext", "attachText"},
                                              {"headings", "headings"}}};
constexpr std::array<Column, 4> kTagColumns = {{{"category", "cat_fld"},
                                                {"keywords", "key_fld"},
                                                {"priority", "priority_fld"},
                                                {"notes", "notes_fld"}}};

template <typename Columns>
std::string selectSql(const Columns& columns, const char* table, std::uint32_t id) {
  std::string sql = "SELECT ";
  for (const Column& column : columns) {
    if (&column != &columns.front()) sql += ',';
    sql += column.sql;
  }
  return fmt::format("{} FROM {} WHERE id={}", sql, table, id);
}

void writeCsvValue(OutputFile& file, std::string_view value) {
  const bool isQuoted = value.find_first_of(",\"\r\n") != std::string_view::npos;
  if (isQuoted) file.write("\"");
  inPieces(value, [&](std::string_view piece) { file.write(commaText(std::string(piece))); });
  if (isQuoted) file.write("\"");
}

template <typename Columns>
void writeCsvNames(OutputFile& file, const Columns& columns, bool isFirst) {
  for (const Column& column : columns) {
    if (!std::exchange(isFirst, false)) file.write(",");
    file.write(column.name);
  }
}

/// Writes the columns of a message's row in a table. Answers whether it has one.
template <typename Columns>
Result<bool> writeCsvColumns(const OutputContext& context, const Columns& columns,
                             const char* table, std::uint32_t id, OutputFile& file) {
  const auto rows = queryRows(context.session, selectSql(columns, table, id));
  if (!rows) return Failure{rows.error()};
  if (!(*rows)->next()) return false;
  std::string recoded;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) file.write(",");
    writeCsvValue(file, viewOf(**rows, i, recoded));
  }
  return true;
}

Result<void> writeCsv(const OutputContext& context, std::uint32_t id, OutputFile& file,
                      OutputReport& report) {
  const Result<bool> row = writeCsvColumns(context, kColumns, "email", id, file);
  if (!row) return Failure{row.error()};
  if (!*row) return {};
  file.write(",");
  const Result<bool> tags = writeCsvColumns(context, kTagColumns, "tags", id, file);
  if (!tags) return Failure{tags.error()};
  if (!*tags) file.write(std::string(kTagColumns.size() - 1, ','));
  file.write("\r\n");
  ++report.messages;
  return {};
}

void appendJsonText(std::string& out, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          out += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        } else {
          out += c;
        }
    }
  }
}

void writeJsonText(OutputFile& file, std::string_view text) {
  file.write("\"");
  inPieces(text, [&file](std::string_view piece) {
    std::string escaped;
    appendJsonText(escaped, piece);
    file.write(escaped);
  });
  file.write("\"");
}

/// Writes a message's row in a table as an object that is not closed yet, in which numbers stand
/// without quotes. Answers whether it has one; nothing is written otherwise.
template <typename Columns>
Result<bool> writeJsonColumns(const OutputContext& context, const Columns& columns,
                              const char* table, std::uint32_t id, OutputFile& file) {
  const auto rows = queryRows(context.session, selectSql(columns, table, id));
  if (!rows) return Failure{rows.error()};
  if (!(*rows)->next()) return false;
  file.write("{");
  std::string recoded;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string_view name = columns[i].name;
    const std::string_view value = viewOf(**rows, i, recoded);
    file.write(fmt::format("{}\"{}\":", i > 0 ? "," : "", name));
    if (name == "id" || name == "numattach" || name == "priority") {
      file.write(fmt::format("{}", leadingInt(std::string(value))));
    } else {
      writeJsonText(file, value);
    }
  }
  return true;
}

Result<void> writeJsonSource(const OutputContext& context, std::uint32_t id, OutputFile& file) {
  const auto rows =
      queryRows(context.session, fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id));
  if (!rows) return Failure{rows.error()};
  file.write(",\"source\":");
  std::string recoded;
  if ((*rows)->next()) {
    writeJsonText(file, viewOf(**rows, 0, recoded));
  } else {
    file.write("null");
  }
  return {};
}

void writeJsonAttachment(const StoredAttachment& attachment, bool withBytes, OutputFile& file) {
  // A multiple of three: the pieces make one text.
  constexpr std::size_t kBase64Bytes = 48 * 1024;
  file.write("{\"name\":");
  writeJsonText(file, attachment.name);
  file.write(",\"type\":");
  writeJsonText(file, attachment.type);
  file.write(fmt::format(",\"size\":{}", attachment.lengthBytes));
  if (withBytes) {
    file.write(",\"base64\":\"");
    for (std::string_view rest = attachment.bytes; !rest.empty();) {
      const std::string_view piece = rest.substr(0, kBase64Bytes);
      std::string text;
      appendBase64(text, piece);
      file.write(text);
      rest.remove_prefix(piece.size());
    }
    file.write("\"");
  }
  file.write("}");
}

Result<void> writeJson(const OutputContext& context, std::uint32_t id, bool withAttachments,
                       OutputFile& file, OutputReport& report) {
  const Result<bool> row = writeJsonColumns(context, kColumns, "email", id, file);
  if (!row) return Failure{row.error()};
  if (!*row) return {};
  file.write(",\"tags\":");
  const Result<bool> tags = writeJsonColumns(context, kTagColumns, "tags", id, file);
  if (!tags) return Failure{tags.error()};
  file.write(*tags ? "}" : "null");
  if (Result<void> source = writeJsonSource(context, id, file); !source) return source;
  file.write(",\"attachments\":[");
  bool isFirst = true;
  const auto count =
      readAttachments(context.session, id, [&](const StoredAttachment& attachment) -> Result<void> {
        if (!std::exchange(isFirst, false)) file.write(",");
        writeJsonAttachment(attachment, withAttachments, file);
        return {};
      });
  if (!count) return Failure{count.error()};
  file.write("]}\n");
  ++report.messages;
  return {};
}

/// The pieces of a list's value, at commas and lines.
std::vector<std::string> addressesIn(std::string text) {
  replaceAll(text, ",", "\n");
  replaceAll(text, "\n ", "\n");
  replaceAll(text, " \n", "\n");
  removeAll(text, "\t");
  return split(text, "\n");
}

}  // namespace

Result<OutputReport> exportTab(const OutputContext& context, const MessageList& list,
                               const std::string& path, bool hasRawSource) {
  return exportTable(context, list, path, hasRawSource, {"\t", "", tabText});
}

Result<OutputReport> exportComma(const OutputContext& context, const MessageList& list,
                                 const std::string& path, bool hasRawSource) {
  return exportTable(context, list, path, hasRawSource, {",", "\"", commaText});
}

Result<OutputReport> exportAddresses(const OutputContext& context, const MessageList& list,
                                     const std::string& path, bool from, bool to) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  // How often each value is in the list: once, or as often as it stood in its last row.
  std::map<std::string, std::size_t> found;
  Result<OutputReport> report =
      carryEach(context, list, [&](std::size_t index, OutputReport& counts) -> Result<void> {
        const Result<ListedMessage> row = list.row(index);
        if (!row) return Failure{row.error()};
        // Deleted since the list was made.
        if (row->date.empty()) return {};
        std::string text;
        if (from) text += row->from + "\n";
        if (to) text += row->to + "\n";
        std::map<std::string, std::size_t> here;
        for (std::string& value : addressesIn(std::move(text))) ++here[std::move(value)];
        for (const auto& [value, times] : here) found[value] = times;
        ++counts.messages;
        return {};
      });
  if (!report || report->cancelled) return report;
  std::vector<std::string> values;
  for (const auto& [value, times] : found) {
    if (value.find('@') != std::string::npos) values.insert(values.end(), times, value);
  }
  std::stable_sort(values.begin(), values.end(), [](const std::string& a, const std::string& b) {
    return compareNoCase(a, b) < 0;
  });
  for (const std::string& value : values) file.write(plainAscii(value) + "\n");
  if (const Result<void> written = file.commit(); !written) return Failure{written.error()};
  return report;
}

Result<OutputReport> exportCsv(const OutputContext& context, const MessageList& list,
                               const std::string& path) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  writeCsvNames(file, kColumns, true);
  writeCsvNames(file, kTagColumns, false);
  file.write("\r\n");
  return carryToFile(context, list, file, false, [&](std::size_t index, OutputReport& report) {
    return writeCsv(context, list.id(index), file, report);
  });
}

Result<OutputReport> exportJson(const OutputContext& context, const MessageList& list,
                                const std::string& path, bool withAttachments) {
  OutputFile file(path);
  if (const Result<void> opened = file.open(); !opened) return Failure{opened.error()};
  return carryToFile(context, list, file, false, [&](std::size_t index, OutputReport& report) {
    return writeJson(context, list.id(index), withAttachments, file, report);
  });
}

}  // namespace keldane
