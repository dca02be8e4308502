#include "output/folder_exports.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "base/files.h"
#include "base/sha256.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "output/exact_sources.h"
#include "output/mail_dates.h"
#include "output/write_behind.h"

namespace keldane {
namespace {

constexpr std::size_t kSenderUnits = 30;
constexpr std::size_t kSubjectUnits = 60;
constexpr std::size_t kDigestBytes = 8;

/// What a file is named by.
struct Labels {
  std::optional<std::tm> date;
  std::string sender;
  std::string subject;
};

Result<Labels> labelsOf(ServerSession& session, std::uint32_t id) {
  const auto rows = queryRows(
      session, fmt::format("SELECT date_fld,from_fld,subj_fld FROM email WHERE id={}", id));
  if (!rows) return Failure{rows.error()};
  Labels labels;
  if (!(*rows)->next()) return labels;
  labels.date = parseServerDate(textOf(**rows, 0));
  labels.sender = textOf(**rows, 1);
  labels.subject = textOf(**rows, 2);
  return labels;
}

/// The name before an address, or the address.
std::string shortSender(const std::string& sender) {
  const std::size_t bracket = sender.find('<');
  std::string name(trimWhitespace(std::string_view(sender).substr(0, bracket)));
  if (name.empty() && bracket != std::string::npos) {
    name = sender.substr(bracket + 1, sender.find('>', bracket) - bracket - 1);
  }
  return std::string(utf16Prefix(name, kSenderUnits));
}

std::string nameOf(const Labels& labels, std::uint32_t id, std::string_view type) {
  std::string name = "no date";
  if (labels.date) {
    name = fmt::format("{:04}-{:02}-{:02} {:02}.{:02}", labels.date->tm_year + 1900,
                       labels.date->tm_mon + 1, labels.date->tm_mday, labels.date->tm_hour,
                       labels.date->tm_min);
  }
  for (const std::string& part :
       {shortSender(labels.sender), std::string(utf16Prefix(labels.subject, kSubjectUnits))}) {
    if (!trimWhitespace(part).empty()) name.append(" ").append(trimWhitespace(part));
  }
  // The id comes last and makes the name the message's own: what is too long is cut before it.
  const std::string ending = fmt::format(" {}.{}", id, type);
  name = safeFileName(name);
  // Not to be had on the file systems of other machines.
  for (char& c : name) {
    if (std::string_view("\\:*?\"<>|").find(c) != std::string_view::npos) c = '_';
  }
  return name + ending;
}

std::string maildirName(const Labels& labels, std::uint32_t id, const std::string& source) {
  std::string digest;
  for (const char byte : sha256(source).substr(0, kDigestBytes)) {
    digest += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  }
  return fmt::format("{}.{}Q{}.keldane:2,S",
                     labels.date ? std::max(0LL, epochSeconds(*labels.date)) : 0, digest, id);
}

/// Puts on disk what has been written, in one go: waiting for each of many small files would take
/// hours. Made before the first is written, so that it hears of what goes wrong from then on.
class DiskSync {
 public:
  explicit DiskSync(const std::string& folder)
      : folder_(folder), fd_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
  ~DiskSync() {
    if (fd_ >= 0) ::close(fd_);
  }
  DiskSync(const DiskSync&) = delete;
  DiskSync& operator=(const DiskSync&) = delete;

  [[nodiscard]] Result<void> run() const {
#ifdef __linux__
    if (fd_ >= 0) {
      if (::syncfs(fd_) == 0) return {};
      return Failure{folder_ + ": " + std::generic_category().message(errno)};
    }
#endif
    ::sync();
    return {};
  }

 private:
  const std::string folder_;
  const int fd_;  ///< -1: a folder that may only be written to
};

struct FolderForm {
  std::string folder;           ///< where the files come to lie
  std::string temporaryFolder;  ///< where they are written
  bool isMaildir = false;
  bool requireExact = false;
};

Result<void> writeOne(const OutputContext& context, const FolderForm& form, std::uint32_t id,
                      ExactSources& sources, WriteBehind& files, OutputReport& report) {
  auto source = sources.read(id);
  if (!source) return Failure{source.error()};
  if (!*source) return {};
  SourceCounts counts = report.sources;
  if (Result<void> counted = countSource(id, (*source)->state, form.requireExact, counts);
      !counted) {
    return counted;
  }
  const Result<Labels> labels = labelsOf(context.session, id);
  if (!labels) return Failure{labels.error()};
  const std::string name =
      form.isMaildir ? maildirName(*labels, id, (*source)->bytes) : nameOf(*labels, id, "eml");
  const long long time = labels->date ? epochSeconds(*labels->date) : 0;
  Result<void> put = files.put({form.folder + "/" + name, std::move((*source)->bytes), time});
  if (!put) return put;
  report.sources = counts;
  ++report.messages;
  return {};
}

Result<OutputReport> exportFolder(const OutputContext& context, const MessageList& list,
                                  const FolderForm& form) {
  for (const std::string& folder : {form.folder, form.temporaryFolder}) {
    if (const Result<void> made = makeFolders(folder); !made) return Failure{made.error()};
  }
  ExactSources sources(context);
  const DiskSync disk(form.folder);
  WriteBehind files(form.temporaryFolder);
  Result<OutputReport> report =
      carryEach(context, list, [&](std::size_t index, OutputReport& counts) {
        return writeOne(context, form, list.id(index), sources, files, counts);
      });
  Result<void> written = files.finish();
  if (const Result<void> synced = disk.run(); written && !synced) written = synced;
  if (!report) return report;
  if (!written) return Failure{written.error()};
  report->isFolder = true;
  return report;
}

}  // namespace

Result<MessageFile> messageFile(ServerSession& session, std::uint32_t id, std::string_view type) {
  const Result<Labels> labels = labelsOf(session, id);
  if (!labels) return Failure{labels.error()};
  return MessageFile{nameOf(*labels, id, type), labels->date ? epochSeconds(*labels->date) : 0};
}

Result<OutputReport> exportEml(const OutputContext& context, const MessageList& list,
                               const std::string& folder, bool requireExact) {
  return exportFolder(context, list, {folder, folder, false, requireExact});
}

Result<OutputReport> exportMaildir(const OutputContext& context, const MessageList& list,
                                   const std::string& folder, bool requireExact) {
  if (const Result<void> made = makeFolders(folder + "/new"); !made) return Failure{made.error()};
  return exportFolder(context, list, {folder + "/cur", folder + "/tmp", true, requireExact});
}

}  // namespace keldane
