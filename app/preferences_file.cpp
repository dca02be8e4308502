#include "app/preferences_file.h"

#include <ctime>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "platform/environment.h"

namespace keldane {
namespace {

/// A name beside the file that is not taken yet.
std::string freeName(const std::string& path) {
  std::string date = localDateTime(std::time(nullptr));
  replaceAll(date, ":", "");
  replaceAll(date, " ", "-");
  const std::string name = path + ".damaged-" + date;
  std::string free = name;
  for (int i = 2; fileExists(free); ++i) free = name + "-" + std::to_string(i);
  return free;
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace

PreferencesFile::PreferencesFile(std::string path) : path_(std::move(path)) {}

Result<PreferencesFile::Contents> PreferencesFile::read() const {
  if (!fileExists(path_)) return Contents{};
  Result<std::string> bytes = readFile(path_);
  if (!bytes) return Failure{bytes.error()};
  Result<PlistValue> list = parsePlist(*bytes);
  if (!list || list->dict() == nullptr) return Contents{std::nullopt, std::move(*bytes)};
  return Contents{std::get<PlistDict>(std::move(list->value)), std::nullopt};
}

Result<void> PreferencesFile::load() {
  values_.clear();
  changes_.clear();
  asidePath_.clear();
  Result<Contents> contents = read();
  if (!contents) return Failure{"The settings cannot be read: " + contents.error()};
  if (contents->damage) {
    asidePath_ = freeName(path_);
    return Failure{"The settings file " + path_ +
                   " is damaged, and the settings of a first start are used. The damaged file will "
                   "be kept as " +
                   asidePath_ + "."};
  }
  if (contents->keys) values_ = std::move(*contents->keys);
  return {};
}

Result<void> PreferencesFile::keepAside(const std::string& bytes) {
  if (asidePath_.empty()) asidePath_ = freeName(path_);
  Result<void> kept = replaceFile(asidePath_, bytes);
  if (kept) asidePath_.clear();
  return kept;
}

Result<void> PreferencesFile::save() {
  Result<Contents> contents = read();
  if (!contents) return Failure{contents.error()};
  if (contents->damage) {
    if (Result<void> kept = keepAside(*contents->damage); !kept) return kept;
  }
  // A file that has gone or broken since we read it is written anew with all that was in it.
  PlistDict merged = contents->keys ? std::move(*contents->keys) : values_;
  for (const auto& [key, value] : changes_) {
    if (value) {
      merged.insert_or_assign(key, *value);
    } else {
      merged.erase(key);
    }
  }
  PlistValue list{std::move(merged)};
  const Result<std::string> xml = plistToXml(list);
  if (!xml) return Failure{path_ + ": " + xml.error()};
  if (const std::string folder = folderOf(path_); !folder.empty()) {
    if (Result<void> made = makeFolders(folder); !made) return made;
  }
  if (Result<void> replaced = replaceFile(path_, *xml); !replaced) return replaced;
  values_ = std::get<PlistDict>(std::move(list.value));
  changes_.clear();
  return {};
}

bool PreferencesFile::has(std::string_view key) const { return find(key) != nullptr; }

const PlistValue* PreferencesFile::find(std::string_view key) const {
  const auto found = values_.find(std::string(key));
  return found == values_.end() ? nullptr : &found->second;
}

std::optional<std::string> PreferencesFile::text(std::string_view key) const {
  const PlistValue* value = find(key);
  return value == nullptr ? std::nullopt : value->text();
}

std::optional<std::int64_t> PreferencesFile::integer(std::string_view key) const {
  const PlistValue* value = find(key);
  return value == nullptr ? std::nullopt : value->integer();
}

void PreferencesFile::set(std::string_view key, PlistValue value) {
  std::string name(key);
  const PlistValue* present = find(key);
  if (present != nullptr && *present == value) return;
  values_.insert_or_assign(name, value);
  changes_.insert_or_assign(std::move(name), std::move(value));
}

void PreferencesFile::setText(std::string_view key, std::string value) {
  set(key, PlistValue{std::move(value)});
}

void PreferencesFile::setInteger(std::string_view key, std::int64_t value) {
  set(key, PlistValue{value});
}

void PreferencesFile::remove(std::string_view key) {
  if (values_.erase(std::string(key)) == 0) return;
  changes_.insert_or_assign(std::string(key), std::nullopt);
}

std::vector<std::string> PreferencesFile::keys() const {
  std::vector<std::string> names;
  for (const auto& [key, value] : values_) names.push_back(key);
  return names;
}

}  // namespace keldane
