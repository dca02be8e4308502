#include "app/panels/save_panel.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include <fmt/format.h>

#include "output/folder_exports.h"
#include "output/saved_text.h"

namespace keldane {

std::string SavePanel::getPath() const {
  return frame_.ui().chooseSaveFile({.name = "untitled.txt"});
}

void SavePanel::saveList() {
  const std::string path = getPath();
  // A cancelled panel gives the empty path, which no file can have.
  if (!frame_.canWrite(path)) return;
  Progress unseen;
  const auto saved =
      keldane::saveList(frame_.output(unseen), frame_.allMessages(), path, whereSql_);
  if (!saved) return frame_.showFailure(saved.error());
  frame_.ui().alert({"List has been saved", "This list has been saved to " + path + "."});
}

void SavePanel::saveSelected() { saveMessages(false); }
void SavePanel::saveAll() { saveMessages(true); }

void SavePanel::saveMessages(bool all) {
  const int answer =
      frame_.ui().alert({"Strip Quoted Messages",
                         "Do you want to, as much as possible, strip out any quoted messages in "
                         "reply emails?",
                         AlertStyle::informational,
                         {"Yes", "No", "Cancel"}});
  if (answer != kFirstButton && answer != kSecondButton) return;
  const std::string path = getPath();
  if (path.empty() || !frame_.canWrite(path)) return;
  frame_.begin("Saving...");
  EndablePanelProgress progress(frame_.progress(), frame_.ui());
  bool textFailed = false;
  const ListedTextReader read = [&textFailed, reader = frame_.textReader()](
                                    std::uint32_t id, std::string_view date, bool strip) {
    Result<std::string> text = reader(id, date, strip);
    textFailed = !text;
    return text;
  };
  const auto saved = keldane::saveMessages(frame_.output(progress),
                                           all ? frame_.allMessages() : frame_.selectedMessages(),
                                           path, read, answer == kFirstButton);
  if (!saved) {
    // Kept: behind a message that could not be read the progress panel stays.
    if (!isSqlError(saved.error()) || (all && !textFailed)) frame_.end();
    return frame_.showFailure(saved.error());
  }
  frame_.end();
  if (saved->cancelled) return;
  frame_.ui().alert({all ? "The email in the list has been saved" : "Email has been saved",
                     (all ? "The email in the list has been saved to the text file "
                          : "The email in this list has been saved to the text file ") +
                         path + "."});
}

void SavePanel::saveOrigSelected() { saveOrig(false); }
void SavePanel::saveOrigAll() { saveOrig(true); }

void SavePanel::saveOrig(bool all) {
  const std::string path = getPath();
  if (path.empty() || !frame_.canWrite(path)) return;
  frame_.begin("Saving...");
  EndablePanelProgress progress(frame_.progress(), frame_.ui());
  const auto saved = saveSources(
      frame_.output(progress), all ? frame_.allMessages() : frame_.selectedMessages(), path, !all);
  frame_.end();
  if (!saved) return frame_.showFailure(saved.error());
  if (saved->cancelled) return;
  frame_.ui().alert(
      {"Raw source email has been saved",
       "The raw source email in the list has been saved to the text file " + path + "."});
}

void SavePanel::saveAllAttachments() {
  const std::vector<std::string> chosen = frame_.ui().chooseFiles(
      {.title = "Save Attachments", .prompt = "Choose", .files = false, .folders = true});
  if (chosen.empty()) return;
  frame_.begin("Saving Attachments...");
  EndablePanelProgress progress(frame_.progress(), frame_.ui(), 1);
  const auto saved = keldane::saveAllAttachments(frame_.output(progress), frame_.selectedMessages(),
                                                 chosen.front());
  if (!saved && isSqlError(saved.error())) {
    // Kept: the panel stays up, and this line is all.
    std::fputs((saved.error() + "\n").c_str(), stderr);
    return;
  }
  frame_.end();
  if (!saved) return frame_.showFailure(saved.error());
  if (saved->lastHadAttachments && !saved->cancelled) {
    frame_.ui().alert({"Attachments Saved", "The attachments have been saved."});
  }
}

std::vector<std::string> SavePanel::writeForUse(const std::string& workFolder) {
  const std::string folder = fmt::format("{}/messages-{}", workFolder, ++foldersMade_);
  frame_.begin("Saving...");
  PanelProgress progress(frame_.progress());
  const Result<OutputReport> written =
      exportEml(frame_.output(progress), frame_.selectedMessages(), folder, false);
  frame_.end();
  std::vector<std::string> paths;
  if (!written) {
    frame_.showFailure(written.error());
  } else if (!written->cancelled) {
    std::error_code unread;
    for (const auto& file : std::filesystem::directory_iterator(folder, unread)) {
      paths.push_back(file.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace keldane
