#include "app/panels/attachment_links.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "query/attachments.h"

namespace keldane {
namespace {

/// The message's own HTML, as an archive run or an older one names it.
bool isHtmlVersion(const std::string& name) {
  return (name.ends_with(".html") || name.ends_with(".htm")) &&
         (name.starts_with("htmlversion") || name.starts_with("attachment0"));
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

}  // namespace

bool AttachmentLinks::textViewClickedOnLink(std::uint32_t attachOwnerId, const std::string& path) {
  const std::string file(lastPathComponent(path));
  const std::size_t mark = file.find(kLinkMark);
  if (mark == std::string::npos || path.find('/') == std::string::npos) return false;
  context_.progress.doProgressPanel("Retrieving attachment...");
  const bool extracted =
      extract(attachOwnerId, static_cast<std::size_t>(std::max(0, leadingInt(file))), path);
  context_.progress.close();
  if (extracted) open(path, file.substr(mark + kLinkMark.size()));
  return extracted;
}

bool AttachmentLinks::extract(std::uint32_t id, std::size_t index, const std::string& path) {
  const Result<std::string> bytes = readAttachment(context_.session, id, index);
  if (!bytes) {
    std::fputs((bytes.error() + "\n").c_str(), stderr);
    return false;
  }
  const bool written = makeFolders(folderOf(path)) && replaceFile(path, *bytes);
  if (!written) context_.ui.alert({"Can't Open", "Couldn't open " + path});
  return written;
}

void AttachmentLinks::open(const std::string& path, const std::string& name) {
  if (isHtmlVersion(name)) {
    context_.viewer.showHtmlVersion(path);
    return;
  }
  if (context_.settings.launchAttachments != 0) return launch(path, name);
  const int answer = context_.ui.alert({"What do you want to do with this attachment?",
                                        "Do you want to launch it or save it to a file?",
                                        AlertStyle::informational,
                                        {"Launch", "Save", "Cancel"}});
  if (answer == kFirstButton) launch(path, name);
  if (answer == kSecondButton) save(path, name);
}

void AttachmentLinks::launch(const std::string& path, const std::string& name) {
  if (context_.host.openFile(path)) return;
  const int answer = context_.ui.alert({"Unable to launch this attachment.",
                                        "Try saving it instead.",
                                        AlertStyle::informational,
                                        {"Save", "Cancel"}});
  if (answer == kFirstButton) save(path, name);
}

void AttachmentLinks::save(const std::string& path, const std::string& name) {
  const std::string target =
      context_.chooseSaveFile ? context_.chooseSaveFile("Save Attachment", name) : "";
  if (target.empty()) return;
  bool saved = false;
  if (fileExists(path)) {
    context_.progress.doProgressPanel("Saving...");
    std::error_code error;
    if (std::filesystem::equivalent(path, target, error)) {
      saved = true;
    } else if (::unlink(target.c_str()) != 0 && errno != ENOENT) {
      context_.progress.close();
      context_.ui.alert({"Can't Remove", "Unable to remove " + target, AlertStyle::critical});
      return;
    } else {
      saved = std::filesystem::copy_file(path, target, error);
    }
    context_.progress.close();
  }
  if (saved) {
    context_.ui.alert({"Saved", "The attachment has been saved"});
  } else {
    context_.ui.alert({"Can't save", "Unable to save attachment"});
  }
}

}  // namespace keldane
