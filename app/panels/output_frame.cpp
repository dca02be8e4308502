#include "app/panels/output_frame.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "app/query_settings.h"
#include "output/output_file.h"

namespace keldane {
namespace {

constexpr std::string_view kCouldNotOpen = "Couldn't open ";

MessageList messagesOf(const ResultTable& table, std::vector<std::size_t> rows) {
  const auto shared = std::make_shared<const std::vector<std::size_t>>(std::move(rows));
  const auto at = [&table, shared](std::size_t index) -> const Emailrow& {
    return table.emailRows[table.modelIndex((*shared)[index])];
  };
  MessageList list;
  list.size = shared->size();
  list.id = [at](std::size_t index) { return at(index).emailID; };
  list.row = [at](std::size_t index) -> Result<ListedMessage> {
    const Emailrow& row = at(index);
    return ListedMessage{row.emailID, row.emailAtch,    row.emailDate,   row.emailFrom,
                         row.emailTo, row.emailSubject, row.emailMailbox};
  };
  return list;
}

}  // namespace

bool isSqlError(std::string_view error) { return error.starts_with("SQL error: "); }

MessageList OutputFrame::allMessages() const {
  std::vector<std::size_t> rows(context_.table.emailRows.size());
  for (std::size_t row = 0; row < rows.size(); ++row) rows[row] = row;
  return messagesOf(context_.table, std::move(rows));
}

MessageList OutputFrame::selectedMessages() const {
  return messagesOf(context_.table, context_.table.selectedInOrder());
}

OutputContext OutputFrame::output(Progress& progress) const {
  return {context_.session, progress, sourceReading(context_.settings.user).stripPlist,
          context_.storeLog};
}

ListedTextReader OutputFrame::textReader() const {
  return keldane::textReader(context_.session, context_.settings.user);
}

bool OutputFrame::canWrite(const std::string& path) const {
  // Leaves nothing behind: a file has its name only when it is whole.
  if (OutputFile(path).open()) return true;
  showFailure(std::string(kCouldNotOpen) + path);
  return false;
}

void OutputFrame::showFailure(const std::string& error) const {
  const char* const title = isSqlError(error)                  ? "SQL Error"
                            : error.starts_with(kCouldNotOpen) ? "Can't open file"
                                                               : "Can't write file";
  context_.ui.alert({title, error, AlertStyle::critical, {"OK"}});
}

void OutputFrame::begin(const std::string& title) const {
  context_.ui.progressChanged(0, "");
  context_.progress.doProgressPanel(title);
}

void OutputFrame::end() const { context_.progress.close(); }

void OutputFrame::log(const std::string& line) const {
  if (context_.storeLog) {
    context_.storeLog(line);
  } else {
    std::fputs(line.c_str(), stderr);
  }
}

}  // namespace keldane
