#include "query/attachments.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "archive/sql_values.h"
#include "base/base64.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kTitle = "ATTACHMENTS:\n";
constexpr int kLeastBinaryBytes = 2;  // a shorter value is in the list as it is stored
constexpr int kNewFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr int kMostNumbers = 100000;  ///< tried behind a name that is taken

/// A new file beside those that are there: "a.pdf", "a-2.pdf", ... -1 with errno when none can be
/// made; `path` is the one tried last.
int createBeside(const std::string& folder, const std::string& name, std::string& path) {
  const std::size_t dot = name.rfind('.');
  const std::string stem = name.substr(0, dot);
  const std::string ending = dot == std::string::npos ? "" : name.substr(dot);
  for (int number = 1; number <= kMostNumbers; ++number) {
    path = folder + "/" + (number == 1 ? name : fmt::format("{}-{}{}", stem, number, ending));
    const int fd = ::open(path.c_str(), kNewFile, 0600);
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

Result<std::string> fillNew(int fd, const std::string& path, std::string_view bytes) {
  if (fd < 0) return systemFailure(path);
  if (!fill(fd, bytes)) {
    Failure failure = systemFailure(path);
    ::unlink(path.c_str());
    return failure;
  }
  return path;
}

Result<std::string> saveBeside(const std::string& folder, const std::string& name,
                               std::string_view bytes) {
  std::string path;
  const int fd = createBeside(folder, name, path);
  return fillNew(fd, path, bytes);
}

}  // namespace

void AttachmentFields::clear() {
  attachFields.clear();
  attachCount = 0;
}

int AttachmentFields::loadAttachmentRows(ServerSession& session) {
  const auto rows = session.useResult();
  if (!rows) {
    std::fputs(fmt::format("SQL error: {}\n", session.error()).c_str(), stderr);
    return 1;
  }
  if (!rows->next()) return 1;
  do {
    const std::size_t columns = rows->fieldCount();
    for (std::size_t column = 0; column < columns; ++column) {
      const std::string_view value = rows->cell(column).value_or(std::string_view());
      std::string& field = attachFields.emplace_back();
      if (column > 0 && column + 1 == columns &&
          leadingInt(rows->cell(column - 1).value_or("0")) >= kLeastBinaryBytes) {
        encodeBase64Lines(value, field);
        encodedBytes += field.size();
      } else if (isValidUtf8(value)) {
        field = value;
      }
    }
    ++attachCount;
  } while (rows->next());
  // A link that is cut ends the rows as the last one does.
  if (session.error().empty()) return 0;
  std::fputs(fmt::format("SQL error: {}\n", session.error()).c_str(), stderr);
  return 1;
}

AttachmentStrip makeAttachmentStrip(const std::vector<std::string>& names, bool htmlShowing,
                                    const std::string& folder) {
  AttachmentStrip strip;
  strip.text = kTitle;
  // The only attachment of a message shown as HTML is that HTML.
  if (names.empty() || (names.size() == 1 && htmlShowing)) return strip;
  for (std::size_t index = 0; index < names.size(); ++index) {
    std::string name = names[index];
    if (htmlShowing && name.ends_with(".html")) continue;
    removeAll(name, "\n");
    const std::string shown = shownLine(name);
    strip.text += '\n';
    strip.links.push_back({strip.text.size(), shown.size(),
                           fmt::format("{}{}{}{}{}", folder, folder.ends_with('/') ? "" : "/",
                                       index, kLinkMark, safeFileName(name))});
    strip.text.append(shown).append("\n\n");
  }
  if (names.size() >= 2) strip.text += "\n\n";
  strip.isShown = true;
  return strip;
}

Result<std::vector<AttachmentInfo>> listAttachments(ServerSession& session, std::uint32_t id) {
  const std::string sql = fmt::format(
      "SELECT type_fld,filename_fld,LENGTH(attach_fld) FROM attachments WHERE id={}", id);
  if (!session.query(sql)) return Failure{"SQL error: " + session.error()};
  const auto rows = session.storeResult();
  if (!rows) return Failure{"SQL error: " + session.error()};
  const auto text = [&rows](std::size_t column) {
    return toUtf8(rows->cell(column).value_or(std::string_view()));
  };
  std::vector<AttachmentInfo> found;
  while (rows->next()) {
    found.push_back(
        {unescapeInline(text(1)), text(0), std::strtoull(text(2).c_str(), nullptr, 10)});
  }
  return found;
}

Result<std::string> saveNewFile(const std::string& path, const std::string& name,
                                std::string_view bytes) {
  if (isDirectory(path)) return saveBeside(path, safeFileName(name), bytes);
  return fillNew(::open(path.c_str(), kNewFile, 0600), path, bytes);
}

Result<std::string> readAttachment(ServerSession& session, std::uint32_t id, std::size_t index) {
  const std::string sql =
      fmt::format("SELECT LENGTH(attach_fld),attach_fld FROM attachments WHERE id={}", id);
  if (!session.query(sql)) return Failure{fmt::format("SQL error: {}, {}", session.error(), sql)};
  AttachmentFields fields;
  if (fields.loadAttachmentRows(session) != 0 || 2 * index + 1 >= fields.attachFields.size()) {
    return Failure{fmt::format("message {} has no attachment {}", id, index)};
  }
  std::string& bytes = fields.attachFields[2 * index + 1];
  if (leadingInt(fields.attachFields[2 * index]) < kLeastBinaryBytes) return std::move(bytes);
  return decodeBase64(bytes);
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
