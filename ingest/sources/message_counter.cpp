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
#include "ingest/reading/program_file.h"
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

/// Lines that begin a message in a block of an mbox, of which `before` is the character in front.
std::uint64_t separatorsIn(std::string_view block, char before) {
  std::uint64_t count = 0;
  const char* at = block.data();
  const char* const end = at + block.size();
  while (at < end) {
    const auto* found = static_cast<const char*>(
        ::memmem(at, static_cast<std::size_t>(end - at), kFrom.data(), kFrom.size()));
    if (found == nullptr) break;
    const char previous = found == block.data() ? before : found[-1];
    if (previous == '\n' || previous == '\r') ++count;
    at = found + kFrom.size();
  }
  return count;
}

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
  char beginning[kLookedAtBytes];
  const ssize_t got =
      file.descriptor < 0 ? -1 : ::pread(file.descriptor, beginning, sizeof beginning, 0);
  if (got < 0) {
    if (errno != ENOENT) complaint_(path, std::generic_category().message(errno));
    return;
  }
  const std::string_view first(beginning, static_cast<std::size_t>(got));
  if (first.starts_with(kFrom)) {
    countMbox(path, file.descriptor, sizeBytes, count);
  } else if (!foreignKind(first, path) && !programFileKind(path, first) && beginsWithField(first)) {
    ++count.alone;
    count.sizeBytes += sizeBytes;
  }
}

void MessageCounter::countMbox(const std::string& path, int file, std::uint64_t sizeBytes,
                               MailCount& count) {
  const std::uint64_t left = limits_.countedBytes - std::min(limits_.countedBytes, countedBytes_);
  const std::uint64_t most = std::max(left, limits_.sampleBytes);
  std::string block(kBlockBytes + kFrom.size(), '\0');
  std::size_t kept = 0;  // of the block before: the beginning of what may be a separator
  char before = '\n';
  std::uint64_t read = 0;
  std::uint64_t messages = 0;
  while (read < most && !progress_.cancelled()) {
    const ssize_t got = ::read(file, block.data() + kept, kBlockBytes);
    if (got < 0) complaint_(path, std::generic_category().message(errno));
    if (got <= 0) break;
    read += static_cast<std::uint64_t>(got);
    const std::string_view bytes(block.data(), kept + static_cast<std::size_t>(got));
    messages += separatorsIn(bytes, before);
    // What is kept is shorter than a separator and is not counted twice.
    kept = std::min(bytes.size(), kFrom.size() - 1);
    if (bytes.size() > kept) before = bytes[bytes.size() - kept - 1];
    std::memmove(block.data(), block.data() + bytes.size() - kept, kept);
  }
  countedBytes_ += read;
  if (read < sizeBytes && read > 0) {
    count.isEstimate = true;
    messages = static_cast<std::uint64_t>(
        static_cast<double>(messages) * static_cast<double>(sizeBytes) / static_cast<double>(read));
  }
  count.ofMbox += messages;
  count.sizeBytes += sizeBytes;
}

}  // namespace keldane
