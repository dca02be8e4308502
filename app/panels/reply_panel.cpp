#include "app/panels/reply_panel.h"

#include <cstdio>
#include <string>

namespace keldane {
namespace {

void printError(const std::string& error) { std::fputs((error + "\n").c_str(), stderr); }

}  // namespace

std::optional<std::uint32_t> ReplyPanel::selectedId() const {
  const ResultTable& table = frame_.table();
  if (table.selectedRows.empty() || table.selectedRows.back() >= table.emailRows.size()) {
    return std::nullopt;
  }
  return table.emailRows[table.modelIndex(table.selectedRows.back())].emailID;
}

void ReplyPanel::replyToEmail() {
  const auto id = selectedId();
  if (!id) return;
  const Result<MailDraft> draft = draftReply(frame_.session(), *id);
  if (!draft) return printError(draft.error());
  if (frame_.host().hasMailApplication()) return sendEmailWithMail(*draft);
  compose(*draft, "");
}

void ReplyPanel::sendEmailWithMail(const MailDraft& draft) {
  static_cast<void>(runMailScript(tools_, replyScript(draft)));
}

void ReplyPanel::forwardEmail() {
  const auto id = selectedId();
  if (!id) return;
  const Result<std::string> subject = subjectOf(frame_.session(), *id);
  // Kept: the user gets the draft all the same.
  if (!subject) printError(subject.error());
  const MailDraft draft = draftForward(*id, subject ? *subject : "", viewer_.messageText);
  if (frame_.host().hasMailApplication()) {
    static_cast<void>(runMailScript(tools_, forwardScript(draft)));
    return;
  }
  Progress unseen;
  const Result<std::string> source =
      writeForwarded(frame_.output(unseen), *id, process_.workFolder);
  if (!source) return frame_.showFailure(source.error());
  compose(draft, *source);
}

void ReplyPanel::compose(const MailDraft& draft, const std::string& attachmentPath) {
  const Result<void> opened = composeByTool(tools_, draft, attachmentPath);
  if (!opened) frame_.ui().alert({"Can't open mail program", opened.error()});
}

}  // namespace keldane
