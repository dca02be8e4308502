#include "ingest/sources/message_counter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/text.h"
#include "ingest/reading/foreign_file.h"
#include "ingest/reading/message_file.h"
#include "ingest/sources/file_list.h"

namespace keldane {
namespace {

constexpr std::string_view kFrom = "From ";
constexpr std::size_t kBlockBytes = 1U << 20U;

struct File {
  explicit File(int opened) : descriptor(opened) {}
  ~File() {
    if (descriptor >= 0) ::close(descriptor);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int descriptor;
};

std::string_view nameOf(std::string_view path) { return lastPathComponent(path); }

/// Counts the messages of an mbox that comes in pieces: the first one, which may be without a
/// separator, and those behind one.
class MessageCount {
 public:
  /// `isLast`: nothing follows the piece.
  void add(std::string_view piece, bool isLast) {
    bytes_.append(piece);
    std::size_t at = next_;
    for (; (at = bytes_.find(kFrom, at)) != std::string::npos; at += kFrom.size()) {
      // Whether it is one shows in what follows it.
      if (!isLast && at + kFrom.size() + kSeparatorAheadBytes > bytes_.size()) break;
      if (isSeparatorAt(at)) ++count;
    }
    next_ = std::min(at, bytes_.size() - std::min(bytes_.size(), kFrom.size() - 1));
    // A separator is judged by the line before it too.
    const std::size_t kept = next_ - std::min<std::size_t>(next_, 4);
    bytes_.erase(0, kept);
    next_ -= kept;
  }

  std::uint64_t count = 1;

 private:
  [[nodiscard]] bool isSeparatorAt(std::size_t at) const {
    std::string_view before = std::string_view(bytes_).substr(0, at);
    if (before.empty() || !isLineEnd(before.back())) return false;
    before.remove_suffix(before.ends_with("\r\n") ? 2 : 1);
    const bool isBehindBlankLine = before.empty() || isLineEnd(before.back());
    const std::string_view ahead = std::string_view(bytes_).substr(at + kFrom.size());
    return isSeparator(ahead.substr(0, kSeparatorAheadBytes), isBehindBlankLine);
  }
  static bool isLineEnd(char c) { return c == '\n' || c == '\r'; }

  std::string bytes_;
  std::size_t next_ = 1;  ///< what is before it has been looked at
};

}  // namespace

MailCount MessageCounter::count(const std::string& path) {
  MailCount count;
  FolderLayout layout({}, path);
  FileList files(limits_.files);
  for (const std::string& place : layout.places()) files.add(place, complaint_);
  for (std::size_t i = 0; i < files.size() && !progress_.cancelled(); ++i) {
    look(files.path(i), layout, count);
  }
  count.isEstimate = count.isEstimate || files.isFull();
  return count;
}

void MessageCounter::look(const std::string& path, FolderLayout& layout, MailCount& count) {
  // A run passes over hidden files too.
  if (nameOf(path).starts_with('.')) return;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return;
  const auto sizeBytes = static_cast<std::uint64_t>(status.st_size);
  const MailForm form = layout.formOf(path);
  if (form == MailForm::undelivered) return;
  if (isOneMessage(form)) {
    ++(form == MailForm::maildirMessage ? count.ofMaildir
       : form == MailForm::mhMessage    ? count.ofMh
                                        : count.alone);
    count.sizeBytes += sizeBytes;
    return;
  }
  const File file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  char beginning[kSeparatorAheadBytes];
  const ssize_t got =
      file.descriptor < 0 ? -1 : ::pread(file.descriptor, beginning, sizeof beginning, 0);
  if (got < 0) {
    if (errno != ENOENT) complaint_(path, std::generic_category().message(errno));
    return;
  }
  const std::string_view first(beginning, static_cast<std::size_t>(got));
  if (!beginsLikeMail(first) || foreignKind(first.substr(0, kLookedAtBytes), path)) return;
  countPieces(path, file.descriptor, sizeBytes, first.starts_with(kFrom), count);
}

void MessageCounter::countPieces(const std::string& path, int file, std::uint64_t sizeBytes,
                                 bool isMbox, MailCount& count) {
  const std::uint64_t left = limits_.countedBytes - std::min(limits_.countedBytes, countedBytes_);
  const std::uint64_t most = std::max(left, limits_.sampleBytes);
  std::string block(kBlockBytes, '\0');
  MessageCount pieces;
  std::uint64_t read = 0;
  while (read < most && !progress_.cancelled()) {
    const ssize_t got = ::read(file, block.data(), block.size());
    if (got < 0) complaint_(path, std::generic_category().message(errno));
    if (got <= 0) break;
    read += static_cast<std::uint64_t>(got);
    pieces.add({block.data(), static_cast<std::size_t>(got)}, read >= sizeBytes);
  }
  std::uint64_t messages = pieces.count;
  countedBytes_ += read;
  if (read < sizeBytes && read > 0) {
    count.isEstimate = true;
    messages = static_cast<std::uint64_t>(
        static_cast<double>(messages) * static_cast<double>(sizeBytes) / static_cast<double>(read));
  }
  (isMbox || messages > 1 ? count.ofMbox : count.alone) += messages;
  count.sizeBytes += sizeBytes;
}

}  // namespace keldane
