#include "tests/support/recording_user_interface.h"

#include <utility>

#include "base/text.h"

namespace keldane {
namespace {

std::string oneLine(std::string_view text) {
  std::string line(text);
  replaceAll(line, "\n", "\\n");
  return line;
}

std::string words(std::string_view verb, std::string_view object) {
  return std::string(verb).append(" ").append(object);
}

}  // namespace

int RecordingUserInterface::alert(const Alert& alert) {
  alerts.push_back(alert);
  std::string line = alert.style == AlertStyle::critical ? "alert critical [" : "alert [";
  line += alert.title + "] " + oneLine(alert.text);
  note(std::move(line));
  if (alert.buttons.size() < 2 || alertAnswers.empty()) return kFirstButton;
  const int answer = alertAnswers.front();
  alertAnswers.pop_front();
  return answer;
}

void RecordingUserInterface::showPanel(std::string_view panel) {
  visiblePanels.emplace(panel);
  note(words("show", panel));
}

void RecordingUserInterface::closePanel(std::string_view panel) {
  visiblePanels.erase(std::string(panel));
  note(words("close", panel));
}

void RecordingUserInterface::openSheet(std::string_view panel) {
  visiblePanels.emplace(panel);
  note(words("sheet", panel));
}

void RecordingUserInterface::runModal(std::string_view panel) {
  visiblePanels.emplace(panel);
  note(words("modal", panel));
  if (onModal) onModal(panel);
}

void RecordingUserInterface::endModal() { note("endModal"); }

bool RecordingUserInterface::isPanelVisible(std::string_view panel) const {
  return visiblePanels.find(panel) != visiblePanels.end();
}

std::vector<std::string> RecordingUserInterface::chooseFiles(const FileChooser& chooser) {
  choosers.push_back(chooser);
  note("choose [" + chooser.title + "] " + chooser.prompt);
  if (chosenFiles.empty()) return {};
  std::vector<std::string> chosen = std::move(chosenFiles.front());
  chosenFiles.pop_front();
  return chosen;
}

std::string RecordingUserInterface::chooseSaveFile(const SaveChooser& chooser) {
  saveChoosers.push_back(chooser);
  note("save [" + chooser.title + "] " + chooser.prompt);
  if (savedFiles.empty()) return {};
  std::string chosen = std::move(savedFiles.front());
  savedFiles.pop_front();
  return chosen;
}

void RecordingUserInterface::changed(std::string_view control) { note(words("changed", control)); }

void RecordingUserInterface::setWindowTitle(std::string_view panel, std::string_view title) {
  note(words("title", panel).append(" ").append(title));
}

void RecordingUserInterface::progressStarted(std::string_view title) {
  visiblePanels.emplace("ProgressPanel");
  note(words("progress", title));
}

void RecordingUserInterface::progressChanged(int count, std::string_view detail) {
  note("count " + std::to_string(count) + " " + oneLine(detail));
}

void RecordingUserInterface::progressEnded() {
  visiblePanels.erase("ProgressPanel");
  note("progress end");
}

void RecordingUserInterface::showText(std::string_view title, std::string_view text) {
  note("text [" + std::string(title) + "] " + oneLine(text));
}

std::vector<std::string> RecordingUserInterface::lines(std::string_view kind) const {
  std::vector<std::string> found;
  for (const std::string& call : calls) {
    if (call.starts_with(kind)) found.push_back(call);
  }
  return found;
}

}  // namespace keldane
