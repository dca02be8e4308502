#include "ingest/reading/packed_file.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>

#include <archive.h>
#include <archive_entry.h>

#include "base/text.h"
#include "ingest/reading/resting_file.h"

namespace keldane {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kPieceBytes = kPackedBeginningBytes;
constexpr const char* kBeyondRatio = "it unpacks to far more than a file of its size may";

struct Signature {
  std::string_view bytes;
  std::size_t at;
};
constexpr Signature kSignatures[] = {
    {"\x1F\x8B"sv, 0},
    {"BZh"sv, 0},
    {"\xFD"
     "7zXZ\0"sv,
     0},
    {"\x28\xB5\x2F\xFD"sv, 0},
    {"PK\x03\x04"sv, 0},
    {"PK\x05\x06"sv, 0},
    {"ustar"sv, 257},
};

struct CloseArchive {
  void operator()(archive* packed) const { archive_read_free(packed); }
};

/// A path that an archive names, as a name: no way up, none from the root, no control characters.
std::string harmlessName(const char* path) {
  std::string name;
  for (const std::string& component : split(path == nullptr ? "" : path, "/")) {
    if (component.empty() || component == "." || component == "..") continue;
    if (!name.empty()) name += '/';
    name += printable(toUtf8(component));
  }
  return name.empty() ? "unnamed" : name;
}

std::string withoutEnding(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  const std::size_t slash = path.rfind('/');
  const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
  return dot == std::string::npos || dot <= begin ? path : path.substr(0, dot);
}

}  // namespace

/// One packed file, on the disk or in another one.
class PackedFile::Level {
 public:
  Level() : packed_(archive_read_new()) {
    if (!packed_) return;
    archive* packed = packed_.get();
    // By name, since what is not built in would be a program that the library starts.
    archive_read_support_filter_gzip(packed);
    archive_read_support_filter_bzip2(packed);
    archive_read_support_filter_xz(packed);
    archive_read_support_filter_zstd(packed);
    archive_read_support_format_zip(packed);
    archive_read_support_format_tar(packed);
    archive_read_support_format_raw(packed);
  }

  [[nodiscard]] Result<void> open(const std::string& path) {
    if (!packed_) return Failure{"there is not enough memory"};
    return isFine(archive_read_open_filename(packed_.get(), path.c_str(), kPieceBytes));
  }
  [[nodiscard]] Result<void> open(PieceReader source) {
    if (!packed_) return Failure{"there is not enough memory"};
    source_ = std::move(source);
    return isFine(archive_read_open(packed_.get(), this, nullptr, &Level::readSource, nullptr));
  }

  /// The next entry; null at the end.
  [[nodiscard]] Result<archive_entry*> next() {
    archive_entry* entry = nullptr;
    int state = ARCHIVE_RETRY;
    while (state == ARCHIVE_RETRY) state = archive_read_next_header(packed_.get(), &entry);
    if (state == ARCHIVE_EOF) return nullptr;
    if (state != ARCHIVE_OK && state != ARCHIVE_WARN) return Failure{reason()};
    // A file without any packing passes for one that holds itself.
    if (isRaw() && archive_filter_count(packed_.get()) < 2) return Failure{"it is damaged"};
    return entry;
  }
  /// It packs a single file, whose name it does not tell.
  [[nodiscard]] bool isRaw() const { return archive_format(packed_.get()) == ARCHIVE_FORMAT_RAW; }

  /// The next bytes of the entry; none at its end.
  [[nodiscard]] Result<std::string_view> readData() {
    la_ssize_t got = ARCHIVE_RETRY;
    while (got == ARCHIVE_RETRY)
      got = archive_read_data(packed_.get(), piece_.data(), piece_.size());
    if (got < 0) return Failure{reason()};
    return std::string_view(piece_.data(), static_cast<std::size_t>(got));
  }

 private:
  static la_ssize_t readSource(archive* packed, void* self, const void** bytes) {
    std::string_view piece;
    const Result<bool> more = static_cast<Level*>(self)->source_(piece);
    if (!more) {
      archive_set_error(packed, -1, "%s", more.error().c_str());
      return ARCHIVE_FATAL;
    }
    *bytes = piece.data();
    return *more ? static_cast<la_ssize_t>(piece.size()) : 0;
  }

  [[nodiscard]] Result<void> isFine(int state) const {
    if (state == ARCHIVE_OK || state == ARCHIVE_WARN) return {};
    return Failure{reason()};
  }
  [[nodiscard]] std::string reason() const {
    const char* text = archive_error_string(packed_.get());
    return text == nullptr ? "it is damaged" : printable(toUtf8(text));
  }

  std::unique_ptr<archive, CloseArchive> packed_;
  PieceReader source_;
  std::array<char, kPieceBytes> piece_;
};

PackedFile::PackedFile(std::string path, PackedLimits limits)
    : path_(std::move(path)), limits_(limits) {}

bool PackedFile::isPacked(std::string_view beginning) {
  return std::any_of(std::begin(kSignatures), std::end(kSignatures),
                     [&](const Signature& signature) {
                       return beginning.size() >= signature.at &&
                              beginning.substr(signature.at).starts_with(signature.bytes);
                     });
}

Result<void> PackedFile::read(const Visitor& visitor) {
  const Result<FileState> state = stateOf(path_);
  if (!state) return Failure{state.error()};
  visitor_ = &visitor;
  isStopped_ = false;
  entries_ = 0;
  budgetBytes_ = std::max(limits_.freeBytes, limits_.ratio * state->sizeBytes);
  const auto level = std::make_unique<Level>();
  if (Result<void> opened = level->open(path_); !opened) return opened;
  return readLevel(*level, std::string(lastPathComponent(path_)), 1);
}

/// `prefix`: the name that what packs a single file has, at the top alone without its folder.
Result<void> PackedFile::readLevel(Level& level, const std::string& prefix, int depth) {
  std::string last;
  while (!isStopped_) {
    Result<archive_entry*> entry = level.next();
    if (!entry) {
      return Failure{entry.error() +
                     (last.empty() ? ", before its first file" : ", behind " + last)};
    }
    if (*entry == nullptr) return {};
    if (++entries_ > limits_.entries) {
      return Failure{"more than " + std::to_string(limits_.entries) + " files in it, behind " +
                     last};
    }
    const char* path = archive_entry_pathname_utf8(*entry);
    if (path == nullptr) path = archive_entry_pathname(*entry);
    last = harmlessName(path);
    if (level.isRaw()) {
      last = withoutEnding(prefix);
    } else if (depth > 1) {
      last.insert(0, prefix + "/");
    }
    if (archive_entry_filetype(*entry) != AE_IFREG || archive_entry_hardlink(*entry) != nullptr) {
      continue;
    }
    if (archive_entry_is_data_encrypted(*entry) != 0) {
      visitor_->skipped(last, "it is encrypted");
    } else if (Result<void> done = readEntry(level, last, depth); !done) {
      return done;
    }
  }
  return {};
}

Result<void> PackedFile::readEntry(Level& level, const std::string& name, int depth) {
  std::string beginning;
  std::optional<std::string> failure;
  std::uint64_t read = 0;
  std::string_view piece;
  // What lies behind the beginning in the last piece comes again out of `piece`.
  const auto next = [&]() -> bool {
    Result<std::string_view> got = level.readData();
    if (got && !got->empty()) {
      read += got->size();
      Result<void> paid = charge(got->size());
      if (paid && read > limits_.entryBytes) paid = Failure{"a file in it is too large"};
      if (!paid) got = Failure{paid.error()};
    }
    if (!got) failure = got.error();
    piece = got ? *got : std::string_view();
    return !piece.empty();
  };
  while (beginning.size() < kPackedBeginningBytes && next()) {
    const std::size_t taken = std::min(piece.size(), kPackedBeginningBytes - beginning.size());
    beginning.append(piece, 0, taken);
    piece.remove_prefix(taken);
  }
  bool isFirst = true;
  const PieceReader reader = [&](std::string_view& bytes) -> Result<bool> {
    if (std::exchange(isFirst, false)) {
      bytes = beginning;
      if (!bytes.empty()) return true;
    }
    if (piece.empty() && !failure) next();
    if (failure) return Failure{*failure};
    bytes = std::exchange(piece, {});
    return !bytes.empty();
  };
  if (!isPacked(beginning)) {
    isStopped_ = !visitor_->visit({name, beginning, reader});
  } else if (depth >= limits_.depth) {
    visitor_->skipped(name, "packed more than " + std::to_string(limits_.depth) + " times");
  } else {
    const auto inner = std::make_unique<Level>();
    Result<void> opened = inner->open(reader);
    if (opened) opened = readLevel(*inner, name, depth + 1);
    // The rest of the outer one may be whole.
    if (!opened && budgetBytes_ != 0) visitor_->skipped(name, opened.error());
  }
  // Beyond its budget nothing more is read of the file, in whatever depth it was used up.
  if (budgetBytes_ == 0) return Failure{failure.value_or(kBeyondRatio) + ", at " + name};
  return {};
}

Result<void> PackedFile::charge(std::size_t bytes) {
  if (bytes < budgetBytes_) {
    budgetBytes_ -= bytes;
    return {};
  }
  budgetBytes_ = 0;
  return Failure{kBeyondRatio};
}

}  // namespace keldane
