#include "output/table_exports.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include <fmt/format.h>

#include "base/base64.h"
#include "base/text.h"
#include "output/text_encodings.h"

namespace keldane {
namespace {

std::string tabValue(std::string value) {
  for (char& c : value) {
    c = c == '\t' ? ' ' : c == '\r' || c == '\n' ? '\v' : c;
  }
  return value;
}

std::string commaValue(std::string value) {
  replaceAll(value, "\"", "\"\"");
  return "\"" + value + "\"";
}

/// The two prescribed tables differ in nothing else.
struct TableStyle {
  char separator;
  std::string (*value)(std::string value);
};

std::string headLine(const TableStyle& style, bool hasRawSource) {
  std::string line = "id,datetime,from,to,subject,mailto,mailbox,body,numattach";
  if (hasRawSource) line += ",rawsource";
  std::replace(line.begin(), line.end(), ',', style.separator);
  return line + "\n";
}

Result<void> writeRow(const OutputContext& context, const TableStyle& style, std::uint32_t id,
                      bool hasRawSource, OutputFile& file, OutputReport& report) {
  std::string line;
  {
    const auto rows = queryRows(
        context.session,
        fmt::format("SELECT id,date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach "
                    "FROM email WHERE id={}",
                    id));
    if (!rows) return Failure{rows.error()};
    // Deleted since the list was made.
    if (!(*rows)->next()) return {};
    for (std::size_t column = 0; column < (*rows)->fieldCount(); ++column) {
      if (column > 0) line += style.separator;
      line += style.value(textOf(**rows, column));
    }
  }
  if (hasRawSource) {
    Result<std::string> source = queryCell(
        context.session, fmt::format("SELECT orig_fld FROM origemail WHERE origemail.id={}", id));
    if (!source) missSource(context, source.error(), report);
    std::string text = source ? toUtf8(*source) : std::string();
    if (context.stripPlist) context.stripPlist(text);
    line += style.separator + style.value(std::move(text));
  }
  line += '\n';
  file.write(utf16WithMark(line));
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

/// The values of one row; empty when there is none.
Result<std::vector<std::string>> valuesOf(ServerSession& session, const std::string& sql) {
  const auto rows = queryRows(session, sql);
  if (!rows) return Failure{rows.error()};
  std::vector<std::string> values;
  if (!(*rows)->next()) return values;
  for (std::size_t i = 0; i < (*rows)->fieldCount(); ++i) values.push_back(textOf(**rows, i));
  return values;
}

std::string csvValue(const std::string& value) {
  return value.find_first_of(",\"\r\n") == std::string::npos ? value : commaValue(value);
}

template <typename Values>
void writeCsvLine(OutputFile& file, const Values& values) {
  std::string line;
  for (const std::string& value : values) {
    if (&value != &values.front()) line += ',';
    line += csvValue(value);
  }
  file.write(line + "\r\n");
}

void appendJsonText(std::string& out, std::string_view text) {
  out += '"';
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
  out += '"';
}

/// Columns and values as the inside of an object. Numbers stand without quotes.
template <typename Columns>
std::string jsonFields(const Columns& columns, const std::vector<std::string>& values) {
  std::string text;
  for (std::size_t i = 0; i < columns.size() && i < values.size(); ++i) {
    const std::string_view name = columns[i].name;
    if (i > 0) text += ',';
    appendJsonText(text, name);
    text += ':';
    if (name == "id" || name == "numattach" || name == "priority") {
      text += fmt::format("{}", leadingInt(values[i]));
    } else {
      appendJsonText(text, values[i]);
    }
  }
  return text;
}

Result<void> writeJsonAttachments(const OutputContext& context, std::uint32_t id,
                                  bool withAttachments, OutputFile& file) {
  file.write(",\"attachments\":[");
  bool isFirst = true;
  const auto count =
      readAttachments(context.session, id, [&](const StoredAttachment& attachment) -> Result<void> {
        std::string text = isFirst ? "{\"name\":" : ",{\"name\":";
        isFirst = false;
        appendJsonText(text, attachment.name);
        text += ",\"type\":";
        appendJsonText(text, attachment.type);
        text += fmt::format(",\"size\":{}", attachment.lengthBytes);
        if (withAttachments) {
          text += ",\"base64\":\"";
          appendBase64(text, attachment.bytes);
          text += '"';
        }
        file.write(text + "}");
        return {};
      });
  file.write("]");
  return count ? Result<void>() : Result<void>(Failure{count.error()});
}

Result<void> writeJson(const OutputContext& context, std::uint32_t id, bool withAttachments,
                       OutputFile& file, OutputReport& report) {
  const auto values = valuesOf(context.session, selectSql(kColumns, "email", id));
  if (!values) return Failure{values.error()};
  if (values->empty()) return {};
  const auto tags = valuesOf(context.session, selectSql(kTagColumns, "tags", id));
  if (!tags) return Failure{tags.error()};
  file.write("{" + jsonFields(kColumns, *values));
  file.write(",\"tags\":" + (tags->empty() ? "null" : "{" + jsonFields(kTagColumns, *tags) + "}"));
  {
    const auto rows =
        queryRows(context.session, fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id));
    if (!rows) return Failure{rows.error()};
    std::string source = "null";
    if ((*rows)->next()) {
      source.clear();
      appendJsonText(source, textOf(**rows, 0));
    }
    file.write(",\"source\":");
    file.write(source);
  }
  if (Result<void> done = writeJsonAttachments(context, id, withAttachments, file); !done) {
    return done;
  }
  file.write("}\n");
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
  return exportTable(context, list, path, hasRawSource, {'\t', tabValue});
}

Result<OutputReport> exportComma(const OutputContext& context, const MessageList& list,
                                 const std::string& path, bool hasRawSource) {
  return exportTable(context, list, path, hasRawSource, {',', commaValue});
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
  std::vector<std::string> head;
  for (const Column& column : kColumns) head.emplace_back(column.name);
  for (const Column& column : kTagColumns) head.emplace_back(column.name);
  writeCsvLine(file, head);
  return carryToFile(
      context, list, file, false, [&](std::size_t index, OutputReport& report) -> Result<void> {
        Result<std::vector<std::string>> values =
            valuesOf(context.session, selectSql(kColumns, "email", list.id(index)));
        if (!values) return Failure{values.error()};
        if (values->empty()) return {};
        const auto tags = valuesOf(context.session, selectSql(kTagColumns, "tags", list.id(index)));
        if (!tags) return Failure{tags.error()};
        values->insert(values->end(), tags->begin(), tags->end());
        values->resize(kColumns.size() + kTagColumns.size());
        writeCsvLine(file, *values);
        ++report.messages;
        return {};
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
