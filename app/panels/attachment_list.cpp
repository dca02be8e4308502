#include "app/panels/attachment_list.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

#include "base/files.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "query/attachments.h"

namespace keldane {
namespace {

/// Endings behind which a desktop may run what a file holds.
constexpr std::string_view kProgramEndings[] = {
    "action", "apk",      "app",  "appimage",   "bash",   "bat",     "bin",  "cgi",      "cmd",
    "com",    "command",  "cpl",  "csh",        "deb",    "desktop", "dll",  "dmg",      "docm",
    "dotm",   "exe",      "fish", "flatpakref", "gadget", "hta",     "htm",  "html",     "inf",
    "ins",    "iso",      "jar",  "js",         "jse",    "ksh",     "lnk",  "lua",      "mjs",
    "msc",    "msi",      "msp",  "osx",        "out",    "php",     "pif",  "pkg",      "pl",
    "ppam",   "pptm",     "ps1",  "psm1",       "py",     "pyc",     "pyw",  "rb",       "reg",
    "rpm",    "run",      "scf",  "scr",        "scpt",   "sct",     "sh",   "shb",      "svg",
    "tcl",    "terminal", "tool", "url",        "vb",     "vbe",     "vbs",  "workflow", "ws",
    "wsc",    "wsf",      "wsh",  "xhtml",      "xlam",   "xlsm",    "xltm", "zsh"};

bool isHtmlName(std::string_view name) { return name.ends_with(".html"); }

/// The message's own HTML, as an archive run or an older one names it.
bool isHtmlVersion(std::string_view name) {
  return (name.ends_with(".html") || name.ends_with(".htm")) &&
         (name.starts_with("htmlversion") || name.starts_with("attachment0"));
}

}  // namespace

bool isProgramName(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  // A file without an ending may be a script by its first line.
  if (dot == std::string_view::npos) return true;
  const std::string_view ending = trimWhitespace(name.substr(dot + 1));
  return ending.empty() ||
         std::any_of(std::begin(kProgramEndings), std::end(kProgramEndings),
                     [&](std::string_view one) { return compareNoCase(one, ending) == 0; });
}

void AttachmentList::tell(const std::string& title, const std::string& reason) {
  context_.ui.alert({title, reason, AlertStyle::critical, {"OK"}});
}

void AttachmentList::load(std::uint32_t id, bool htmlShowing) {
  rows.clear();
  id_ = id;
  if (id != 0 && !context_.isSessionTaken()) {
    const Result<std::vector<AttachmentInfo>> found = listAttachments(context_.session, id);
    if (!found) std::fputs((found.error() + "\n").c_str(), stderr);
    for (std::size_t i = 0; found && i < found->size(); ++i) {
      const AttachmentInfo& one = (*found)[i];
      if (!htmlShowing || !isHtmlName(one.name)) {
        rows.push_back({i, one.name, one.type, one.sizeBytes});
      }
    }
  }
  context_.ui.changed("attachmentTableView");
}

std::string AttachmentList::writeForUse(std::size_t row) {
  if (row >= rows.size() || context_.isSessionTaken()) return {};
  context_.progress.doProgressPanel("Retrieving attachment...");
  const std::string folder = fmt::format("{}/{}", context_.process.workFolder, id_);
  const auto written = saveAttachments(context_.session, id_, folder, rows[row].index);
  context_.progress.close();
  if (written && !written->empty()) return written->front();
  tell("Can't Open", written ? "The attachment is no longer there." : written.error());
  return {};
}

void AttachmentList::textViewClickedOnLink(std::size_t row) {
  if (row >= rows.size()) return;
  if (isHtmlVersion(rows[row].name)) {
    const std::string path = writeForUse(row);
    if (!path.empty() && showHtmlVersion) showHtmlVersion(path);
    return;
  }
  if (context_.settings.launchAttachments != 0) return open(row);
  const int answer = context_.ui.alert({"What do you want to do with this attachment?",
                                        "Do you want to launch it or save it to a file?",
                                        AlertStyle::informational,
                                        {"Launch", "Save", "Cancel"}});
  if (answer == kFirstButton) open(row);
  if (answer == kSecondButton) save(row);
}

void AttachmentList::open(std::size_t row) {
  if (row >= rows.size()) return;
  const std::string name = shownLine(rows[row].name);
  if (isProgramName(safeFileName(rows[row].name))) {
    const int answer = context_.ui.alert(
        {"Open this attachment?",
         "\"" + name +
             "\" may be a program or a script. What it does when it is opened is up to whoever "
             "sent it.",
         AlertStyle::critical,
         {"Cancel", "Open"}});
    if (answer != kSecondButton) return;
  }
  const std::string path = writeForUse(row);
  if (path.empty()) return;
  if (context_.host.openFile(path)) return;
  const int answer = context_.ui.alert({"Unable to launch this attachment.",
                                        "Try saving it instead.",
                                        AlertStyle::informational,
                                        {"Save", "Cancel"}});
  if (answer == kFirstButton) save(row);
}

void AttachmentList::save(std::size_t row) {
  if (row >= rows.size()) return;
  SaveChooser chooser;
  chooser.title = "Save Attachment";
  chooser.prompt = "Save";
  chooser.name = safeFileName(rows[row].name);
  const std::string target = context_.ui.chooseSaveFile(chooser);
  if (target.empty() || context_.isSessionTaken()) return;
  context_.progress.doProgressPanel("Saving...");
  const Result<std::string> bytes = readAttachment(context_.session, id_, rows[row].index);
  const Result<void> saved =
      bytes ? replaceFile(target, *bytes) : Result<void>(Failure{bytes.error()});
  context_.progress.close();
  if (saved) {
    context_.ui.alert({"Saved", "The attachment has been saved"});
  } else {
    tell("Can't save", "Unable to save attachment: " + saved.error());
  }
}

void AttachmentList::saveAll() {
  if (rows.empty()) return;
  FileChooser chooser;
  chooser.title = "Save All Attachments";
  chooser.prompt = "Save";
  chooser.files = false;
  chooser.folders = true;
  const std::vector<std::string> folder = context_.ui.chooseFiles(chooser);
  if (folder.empty() || context_.isSessionTaken()) return;
  context_.progress.doProgressPanel("Saving...");
  std::size_t saved = 0;
  std::string problem;
  for (const AttachmentRow& row : rows) {
    const auto written = saveAttachments(context_.session, id_, folder.front(), row.index);
    if (!written) {
      problem = written.error();
      break;
    }
    ++saved;
  }
  context_.progress.close();
  if (problem.empty()) {
    context_.ui.alert({"Saved", fmt::format("{} attachments have been saved", saved)});
  } else {
    tell("Can't save",
         fmt::format("{} of {} attachments have been saved. {}", saved, rows.size(), problem));
  }
}

}  // namespace keldane
