#include "app/panels/found_mail_panel.h"

#include <algorithm>
#include <string>

#include "app/panels/panel_progress.h"

namespace keldane {
namespace {

constexpr const char* kPanel = "foundMailPanel";

/// Mail of programs is chosen from the start; what a user has exported himself may be old.
bool isProgramsMail(MailKind kind) {
  return kind != MailKind::exported && kind != MailKind::takeout && kind != MailKind::outlook;
}

}  // namespace

void FoundMailPanel::findMail() {
  context_.progress.doProgressPanel("Looking for mail...");
  EndablePanelProgress progress(context_.progress, context_.ui);
  FoundSources found =
      keldane::findMail(mailPlacesOf(context_.process.homePath, context_.environment), progress);
  context_.progress.close();
  rows.clear();
  for (FoundMail& mail : found.mail) {
    const bool chosen = mail.canBeKept() && isProgramsMail(mail.kind);
    rows.push_back({std::move(mail), chosen});
  }
  context_.ui.changed("foundMailTableView");
  context_.ui.openSheet(kPanel);
}

void FoundMailPanel::choose(std::size_t row, bool on) {
  if (row < rows.size() && rows[row].mail.canBeKept()) rows[row].chosen = on;
}

bool FoundMailPanel::isAnyChosen() const {
  return std::any_of(rows.begin(), rows.end(), [](const FoundMailRow& row) { return row.chosen; });
}

void FoundMailPanel::archive() {
  std::vector<std::string> paths;
  for (const FoundMailRow& row : rows) {
    if (row.chosen) paths.push_back(row.mail.folder.path);
  }
  context_.ui.closePanel(kPanel);
  context_.archive.archivePaths(paths);
}

void FoundMailPanel::openOther() {
  context_.ui.closePanel(kPanel);
  if (context_.openFiles) context_.openFiles();
}

}  // namespace keldane
