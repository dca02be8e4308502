#include "ingest/reading/partial_file.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/base64.h"
#include "base/text.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kStubEnding = ".partial.emlx";
constexpr std::string_view kPartEnding = ".emlxpart";
constexpr std::string_view kFileManagerNotes = ".DS_Store";  ///< no part of any message
constexpr int kFolderLevels = 2;                             ///< folders below that of the message
constexpr std::size_t kTextLineLength = 76;
constexpr std::size_t kPartLineLength = 64;
constexpr std::size_t kUnitsToBlankLine = 500;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

struct Entry {
  std::string name;
  bool isFolder = false;
};

/// The folders and regular files of a folder, in order; none when it does not exist.
Result<std::vector<Entry>> entriesOf(const std::string& folder) {
  std::vector<Entry> entries;
  std::error_code code;
  fs::directory_iterator it(folder, code);
  for (; !code && it != fs::directory_iterator(); it.increment(code)) {
    std::error_code unknown;
    const fs::file_status status = it->symlink_status(unknown);
    if (!fs::is_directory(status) && !fs::is_regular_file(status)) continue;
    std::string name = it->path().filename().string();
    if (name != kFileManagerNotes) entries.push_back({std::move(name), fs::is_directory(status)});
  }
  const bool isMissing =
      code == std::errc::no_such_file_or_directory || code == std::errc::not_a_directory;
  if (code && !isMissing) return Failure{folder + ": " + code.message()};
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return numericLess(a.name, b.name); });
  return entries;
}

struct FoundFile {
  std::string path;
  std::string name;
};

Result<void> addFiles(const std::string& folder, int levels, std::vector<FoundFile>& files) {
  Result<std::vector<Entry>> entries = entriesOf(folder);
  if (!entries) return Failure{entries.error()};
  for (Entry& entry : *entries) {
    std::string path = folder + "/" + entry.name;
    if (!entry.isFolder) {
      files.push_back({std::move(path), std::move(entry.name)});
    } else if (levels > 0) {
      Result<void> added = addFiles(path, levels - 1, files);
      if (!added) return added;
    }
  }
  return {};
}

/// The names that a text gives to its parts. Made once for a text, so that it is searched once and
/// not once for each file.
class NamePlaces {
 public:
  explicit NamePlaces(std::string_view text) : text_(text) {
    constexpr std::string_view kName = "name=";
    for (std::size_t at = text.find(kName); at != std::string_view::npos;
         at = text.find(kName, at + kName.size())) {
      values_.push_back(at + kName.size());
    }
  }

  /// Behind the blank line that follows the first place where this name stands, bare or else in
  /// quotes. Absent when there is no such place or no blank line near it.
  [[nodiscard]] std::optional<std::size_t> bodyOf(std::string_view name) const {
    constexpr std::size_t kNameLength = 5;
    for (const bool quoted : {false, true}) {
      for (const std::size_t at : values_) {
        if (!isAt(at, name, quoted)) continue;
        const std::size_t place = at - kNameLength;
        // No character takes more than four bytes.
        const std::string_view near =
            utf16Prefix(text_.substr(place, 4 * kUnitsToBlankLine), kUnitsToBlankLine);
        const std::size_t blank = near.find("\n\n");
        if (blank == std::string_view::npos) return std::nullopt;
        return place + blank + 2;
      }
    }
    return std::nullopt;
  }

 private:
  [[nodiscard]] bool isAt(std::size_t at, std::string_view name, bool quoted) const {
    std::string_view value = text_.substr(at);
    if (quoted) {
      if (!value.starts_with('"')) return false;
      value.remove_prefix(1);
    }
    return value.starts_with(name);
  }

  std::string_view text_;
  std::vector<std::size_t> values_;
};

struct Insertion {
  std::size_t at = 0;
  std::string text;
};

/// All at once: putting in one by one would move a long text as often.
std::string withInsertions(const std::string& text, std::vector<Insertion>& insertions) {
  // Of two for one place, the later comes first, as it would one by one.
  std::reverse(insertions.begin(), insertions.end());
  std::stable_sort(insertions.begin(), insertions.end(),
                   [](const Insertion& a, const Insertion& b) { return a.at < b.at; });
  std::size_t length = text.size();
  for (const Insertion& insertion : insertions) length += insertion.text.size();
  std::string result;
  result.reserve(length);
  std::size_t from = 0;
  for (Insertion& insertion : insertions) {
    result.append(text, from, insertion.at - from).append(insertion.text);
    std::string().swap(insertion.text);
    from = insertion.at;
  }
  return result.append(text, from);
}

}  // namespace

void PartialFile::forget() {
  partialParts_.clear();
  usedParts_ = 0;
}

Result<void> PartialFile::repair(const std::string& path, std::string& text,
                                 const PartReader& readPart) {
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
  const std::string number = name.substr(0, name.find(kStubEnding));
  if (number.size() == name.size() || number.empty() || number == "." || number == "..") return {};
  if (const std::size_t messages = path.rfind("/Messages"); messages != std::string::npos) {
    const std::string folder = path.substr(0, messages) + "/Attachments/" + number;
    Result<void> collected = collectFolder(folder, text, readPart);
    if (!collected) return collected;
  }
  return collectPartFiles(slash == std::string::npos ? "." : path.substr(0, slash), number,
                          readPart);
}

Result<void> PartialFile::collectFolder(const std::string& folder, std::string& text,
                                        const PartReader& readPart) {
  std::vector<FoundFile> files;
  Result<void> found = addFiles(folder, kFolderLevels, files);
  if (!found || files.empty()) return found;
  const NamePlaces places(text);
  std::vector<Insertion> insertions;
  for (const FoundFile& file : files) {
    Result<std::string> data = readPart(file.path);
    if (!data) return Failure{data.error()};
    if (const auto at = places.bodyOf(file.name)) {
      insertions.push_back({*at, base64Lines(*data, kTextLineLength)});
    }
    partialParts_.push_back(std::move(*data));
  }
  if (!insertions.empty()) text = withInsertions(text, insertions);
  return {};
}

Result<void> PartialFile::collectPartFiles(const std::string& folder, const std::string& number,
                                           const PartReader& readPart) {
  Result<void> listed = listPartFiles(folder);
  if (!listed) return listed;
  std::vector<std::string> own;
  for (auto it = std::lower_bound(listedNames_.begin(), listedNames_.end(), number);
       it != listedNames_.end() && it->starts_with(number); ++it) {
    // A longer number is that of another message.
    if (!isDigit((*it)[number.size()])) own.push_back(*it);
  }
  std::sort(own.begin(), own.end(), numericLess);
  for (const std::string& name : own) {
    const Result<std::string> data = readPart(folder + "/" + name);
    if (!data) return Failure{data.error()};
    partialParts_.push_back(base64Lines(*data, kPartLineLength));
  }
  return {};
}

Result<void> PartialFile::listPartFiles(const std::string& folder) {
  if (folder == listedFolder_) return {};
  listedFolder_.clear();
  listedNames_.clear();
  Result<std::vector<Entry>> entries = entriesOf(folder);
  if (!entries) return Failure{entries.error()};
  for (Entry& entry : *entries) {
    if (!entry.isFolder && entry.name.ends_with(kPartEnding)) {
      listedNames_.push_back(std::move(entry.name));
    }
  }
  std::sort(listedNames_.begin(), listedNames_.end());
  listedFolder_ = folder;
  return {};
}

std::optional<std::string> PartialFile::takePart() {
  if (usedParts_ == partialParts_.size()) return std::nullopt;
  return std::move(partialParts_[usedParts_++]);
}

std::string base64Lines(std::string_view data, std::size_t lineLength) {
  const std::size_t lineBytes = lineLength / 4 * 3;
  std::string lines;
  lines.reserve((data.size() / lineBytes + 1) * (lineLength + 2));
  for (std::size_t at = 0; at < data.size(); at += lineBytes) {
    if (at > 0) lines += "\r\n";
    appendBase64(lines, data.substr(at, lineBytes));
  }
  return lines;
}

bool numericLess(std::string_view a, std::string_view b) {
  const bool bytesLess = a < b;
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      const auto takeNumber = [](std::string_view& text) {
        text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
        std::size_t length = 0;
        while (length < text.size() && isDigit(text[length])) ++length;
        const std::string_view number = text.substr(0, length);
        text.remove_prefix(length);
        return number;
      };
      const std::string_view first = takeNumber(a);
      const std::string_view second = takeNumber(b);
      if (first.size() != second.size()) return first.size() < second.size();
      if (first != second) return first < second;
    } else if (a.front() != b.front()) {
      return static_cast<unsigned char>(a.front()) < static_cast<unsigned char>(b.front());
    } else {
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  return a.size() != b.size() ? a.size() < b.size() : bytesLess;
}

}  // namespace keldane
