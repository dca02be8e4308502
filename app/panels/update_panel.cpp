#include "app/panels/update_panel.h"

#include <utility>

namespace keldane {
namespace {

std::string newerText(const std::string& version) {
  return "Keldane Pro " + version + " can be installed with the updates of this system.";
}

}  // namespace

UpdatePanel::~UpdatePanel() {
  if (asking_.joinable()) asking_.join();
}

Result<std::string> UpdatePanel::ask() const {
  if (!context_.newerVersion) return Failure{"This system cannot be asked."};
  return context_.newerVersion(context_.version);
}

void UpdatePanel::checkVersion() {
  const Result<std::string> newer = ask();
  std::string text = "Keldane Pro " + context_.version + " is the newest version.";
  if (!newer) {
    text = "It cannot be told whether there is a newer version than " + context_.version + ". " +
           newer.error();
  } else if (!newer->empty()) {
    text = newerText(*newer);
  }
  context_.ui.alert({"Check for Updates", text});
}

void UpdatePanel::checkForUpdatesInBackground() {
  if (asking_.joinable() || !context_.newerVersion) return;
  asking_ = std::thread([this] {
    const Result<std::string> newer = ask();
    if (!newer || newer->empty()) return;
    context_.mainQueue.post([&ui = context_.ui, text = newerText(*newer)] { ui.notice(text); });
  });
}

}  // namespace keldane
