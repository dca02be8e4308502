#include "query/attachment_extraction.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "archive/sql_values.h"
#include "base/base64.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "query/attachment_list.h"

namespace keldane {
namespace {

constexpr int kLeastEncodedBytes = 2;  ///< a shorter value is in the list as it is stored
constexpr int kMostNumbers = 100000;   ///< tried behind a name that is taken

/// The message's own HTML, as an archive run or an older one names it.
bool isHtmlVersion(const std::string& name) {
  return (name.ends_with(".html") || name.ends_with(".htm")) &&
         (name.starts_with("htmlversion") || name.starts_with("attachment0"));
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

/// A new file beside those that are there: "a.pdf", "a-2.pdf", ... -1 with errno when none can be
/// made; `path` is the one tried last.
int createBeside(const std::string& folder, const std::string& name, std::string& path) {
  const std::size_t dot = name.rfind('.');
  const std::string stem = name.substr(0, dot);
  const std::string ending = dot == std::string::npos ? "" : name.substr(dot);
  for (int number = 1; number <= kMostNumbers; ++number) {
    path = folder + "/" + (number == 1 ? name : fmt::format("{}-{}{}", stem, number, ending));
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

Failure systemFailure(const std::string& path) {
  return {path + ": " + std::generic_category().message(errno)};
}

/// Writes all of it and closes.
bool fill(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = ::write(fd, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) {
      const int reason = errno;
      ::close(fd);
      errno = reason;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return ::close(fd) == 0;
}

Result<std::string> saveBeside(const std::string& folder, const std::string& name,
                               std::string_view bytes) {
  std::string path;
  const int fd = createBeside(folder, name, path);
  if (fd < 0) return systemFailure(path);
  if (!fill(fd, bytes)) {
    Failure failure = systemFailure(path);
    ::unlink(path.c_str());
    return failure;
  }
  return path;
}

}  // namespace

AttachmentExtraction::AttachmentExtraction(ServerSession& session, ProgressPanel& progress,
                                           UserInterface& ui, HostServices& host)
    : session_(session), progress_(progress), ui_(ui), host_(host) {}

bool AttachmentExtraction::textViewClickedOnLink(std::uint32_t attachOwnerId,
                                                 const std::string& path) {
  const std::string file(lastPathComponent(path));
  const std::size_t mark = file.find(kLinkMark);
  if (mark == std::string::npos || path.find('/') == std::string::npos) return false;
  progress_.doProgressPanel("Retrieving attachment...");
  const bool extracted =
      extract(attachOwnerId, static_cast<std::size_t>(std::max(0, leadingInt(file))), path);
  progress_.close();
  if (extracted) open(path, file.substr(mark + kLinkMark.size()));
  return extracted;
}

bool AttachmentExtraction::extract(std::uint32_t id, std::size_t index, const std::string& path) {
  const std::string sql =
      fmt::format("SELECT LENGTH(attach_fld),attach_fld FROM attachments WHERE id={}", id);
  if (!session_.query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return false;
  }
  AttachmentFields fields;
  if (fields.loadAttachmentRows(session_) != 0) return false;
  if (2 * index + 1 >= fields.attachFields.size()) return false;
  std::string bytes = std::move(fields.attachFields[2 * index + 1]);
  if (leadingInt(fields.attachFields[2 * index]) >= kLeastEncodedBytes) {
    bytes = decodeBase64(bytes);
  }
  const bool written = makeFolders(folderOf(path)) && replaceFile(path, bytes);
  if (!written) ui_.alert({"Can't Open", "Couldn't open " + path});
  return written;
}

void AttachmentExtraction::open(const std::string& path, const std::string& name) {
  if (isHtmlVersion(name)) {
    if (callbacks_.showHtmlVersion) callbacks_.showHtmlVersion(path);
    return;
  }
  if (callbacks_.launchAttachments && callbacks_.launchAttachments()) return launch(path, name);
  const int answer = ui_.alert({"What do you want to do with this attachment?",
                                "Do you want to launch it or save it to a file?",
                                AlertStyle::informational,
                                {"Launch", "Save", "Cancel"}});
  if (answer == kFirstButton) launch(path, name);
  if (answer == kSecondButton) save(path, name);
}

void AttachmentExtraction::launch(const std::string& path, const std::string& name) {
  if (host_.openFile(path)) return;
  const int answer = ui_.alert({"Unable to launch this attachment.",
                                "Try saving it instead.",
                                AlertStyle::informational,
                                {"Save", "Cancel"}});
  if (answer == kFirstButton) save(path, name);
}

void AttachmentExtraction::save(const std::string& path, const std::string& name) {
  const std::string target =
      callbacks_.chooseSaveFile ? callbacks_.chooseSaveFile("Save Attachment", name) : "";
  if (target.empty()) return;
  bool saved = false;
  if (fileExists(path)) {
    progress_.doProgressPanel("Saving...");
    std::error_code error;
    if (std::filesystem::equivalent(path, target, error)) {
      saved = true;
    } else if (::unlink(target.c_str()) != 0 && errno != ENOENT) {
      progress_.close();
      ui_.alert({"Can't Remove", "Unable to remove " + target, AlertStyle::critical});
      return;
    } else {
      saved = std::filesystem::copy_file(path, target, error);
    }
    progress_.close();
  }
  if (saved) {
    ui_.alert({"Saved", "The attachment has been saved"});
  } else {
    ui_.alert({"Can't save", "Unable to save attachment"});
  }
}

Result<std::vector<std::string>> saveAttachments(ServerSession& session, std::uint32_t id,
                                                 const std::string& folder,
                                                 std::optional<std::size_t> only) {
  std::string sql = fmt::format("SELECT filename_fld,attach_fld FROM attachments WHERE id={}", id);
  if (only) sql += fmt::format(" LIMIT {},1", *only);
  if (const Result<void> made = makeFolders(folder); !made) return Failure{made.error()};
  if (!session.query(sql)) return Failure{"SQL error: " + session.error()};
  const auto rows = session.useResult();
  if (!rows) return Failure{"SQL error: " + session.error()};
  std::vector<std::string> paths;
  while (rows->next()) {
    const std::string name = unescapeInline(toUtf8(rows->cell(0).value_or(std::string_view())));
    const Result<std::string> path =
        saveBeside(folder, safeFileName(name), rows->cell(1).value_or(std::string_view()));
    if (!path) return Failure{path.error()};
    paths.push_back(*path);
  }
  // A link that is cut ends the rows as the last one does.
  if (!session.error().empty()) return Failure{"SQL error: " + session.error()};
  return paths;
}

}  // namespace keldane
