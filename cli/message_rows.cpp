#include "cli/message_rows.h"

#include <cstdio>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/json_text.h"
#include "cli/last_list.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

bool isTagged(const Emailrow& row) { return row.emailDate.ends_with("*"); }

std::string plainDate(const Emailrow& row) {
  return row.emailDate.substr(0, row.emailDate.size() - (isTagged(row) ? 1 : 0));
}

std::string jsonRow(const Emailrow& row) {
  return jsonLine({{"id", row.emailID},
                   {"date", plainDate(row)},
                   {"from", row.emailFrom},
                   {"to", row.emailTo},
                   {"subject", row.emailSubject},
                   {"mailbox", row.emailMailbox},
                   {"attachments", row.emailAtch},
                   {"tagged", isTagged(row)}});
}

std::string tsvRow(const Emailrow& row) {
  return fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", row.emailID, printable(plainDate(row)),
                     printable(row.emailFrom), printable(row.emailTo), printable(row.emailSubject),
                     printable(row.emailMailbox), row.emailAtch, isTagged(row) ? 1 : 0);
}

std::string table(const ResultList& list, const Pager& pager) {
  std::vector<std::vector<std::string>> rows;
  rows.reserve(list.emailRows.size());
  for (const Emailrow& row : list.emailRows) {
    rows.push_back({fmt::format("{}", row.emailID), row.emailDate,
                    row.emailAtch != 0 ? fmt::format("{}", row.emailAtch) : "", row.emailFrom,
                    row.emailSubject});
  }
  std::string text = formatTable({{"ID", true, 0},
                                  {"DATE", false, 20},
                                  {"ATT", true, 3},
                                  {"FROM", false, 32},
                                  {"SUBJECT", false, 0}},
                                 std::move(rows), pager.width());
  if (pager.color()) {
    text.insert(text.find('\n'), "\x1b[0m");
    text.insert(0, "\x1b[1m");
  }
  return text;
}

}  // namespace

void RowOptions::addTo(CLI::App& command) {
  const std::map<std::string, RowFormat> formats = {
      {"table", RowFormat::table}, {"tsv", RowFormat::tsv}, {"json", RowFormat::json}};
  command.add_option("--format", format, "table, tsv, or json: one object a line")
      ->option_text("table|tsv|json")
      ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case).description(""));
  command.add_flag("--json", json, "The same as --format json");
  command.add_option("--database", database, "Use this database");
  command.add_option("--connection", connection, "Use this saved connection");
}

int showList(KeldaneController& controller, const RowOptions& options, Program& program) {
  const ResultList& list = controller.resultList();
  if (list.listCountTextField.empty()) return kExitFailed;
  printMessages(list, options);
  // The list has been shown; without the file only the next narrowing fails, and tells so itself.
  if (const Result<void> kept = LastList(controller).save(); !kept) {
    (void)program.fail("the list is not kept for --within-last-list: " + kept.error());
  }
  if (::isatty(STDERR_FILENO) != 0 && !program.terminal.quiet) {
    std::fprintf(stderr, "%s %s\n", list.listCountTextField.c_str(), list.dbCountTextField.c_str());
  }
  return kExitDone;
}

void printMessages(const ResultList& list, const RowOptions& options) {
  const RowFormat format = options.json ? RowFormat::json : options.format;
  const Pager pager(format != RowFormat::json);
  if (format == RowFormat::table) {
    std::fputs(table(list, pager).c_str(), stdout);
    return;
  }
  if (format == RowFormat::tsv) {
    std::fputs("id\tdate\tfrom\tto\tsubject\tmailbox\tattachments\ttagged\n", stdout);
  }
  for (const Emailrow& row : list.emailRows) {
    std::fputs((format == RowFormat::json ? jsonRow(row) : tsvRow(row)).c_str(), stdout);
  }
}

}  // namespace keldane
