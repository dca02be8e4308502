#include "settings/preferences_file.h"

#include <ctime>
#include <utility>

#include "base/files.h"
#include "base/private_files.h"
#include "base/text.h"
#include "platform/environment.h"

namespace keldane {
namespace {

constexpr int kLockSeconds = 20;

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

void put(const std::map<std::string, std::optional<PlistValue>, std::less<>>& changes,
         const std::vector<std::function<void(PlistDict&)>>& edits, PlistDict& keys) {
  for (const auto& [key, value] : changes) {
    if (value) {
      keys.insert_or_assign(key, *value);
    } else {
      keys.erase(key);
    }
  }
  for (const auto& edit : edits) edit(keys);
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
  edits_.clear();
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

Result<void> PreferencesFile::edit(std::function<void(PlistDict& keys)> change) {
  // In force until the program ends, even when it cannot be saved.
  change(values_);
  edits_.push_back(std::move(change));
  return save();
}

Result<void> PreferencesFile::save() {
  if (const std::string folder = folderOf(path_); !folder.empty()) {
    if (Result<void> made = makeFolders(folder); !made) return made;
  }
  const Result<FileLock> lock = FileLock::take(path_ + ".lock", kLockSeconds);
  if (!lock) return Failure{lock.error()};
  Result<Contents> contents = read();
  if (!contents) return Failure{contents.error()};
  if (contents->damage) {
    if (Result<void> kept = keepAside(*contents->damage); !kept) return kept;
  }
  // A file that has gone or broken since we read it is written anew with all that was in it.
  const bool fromFile = contents->keys.has_value();
  const PlistDict present = fromFile ? std::move(*contents->keys) : values_;
  PlistDict merged = present;
  // What is in memory has them already.
  if (fromFile) put(changes_, edits_, merged);
  PlistValue list{std::move(merged)};
  const PlistDict& wanted = *list.dict();
  if (fromFile && wanted == present) {
    keep(std::move(list));
    return {};
  }
  const Result<std::string> xml = plistToXml(list);
  if (!xml) return Failure{path_ + ": " + xml.error()};
  if (Result<void> replaced = replaceFile(path_, *xml); !replaced) return replaced;
  keep(std::move(list));
  return {};
}

void PreferencesFile::keep(PlistValue list) {
  values_ = std::get<PlistDict>(std::move(list.value));
  changes_.clear();
  edits_.clear();
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

PlistArray& listAt(PlistDict& keys, const std::string& key) {
  PlistValue& value = keys[key];
  if (value.array() == nullptr) value = PlistValue{PlistArray{}};
  return std::get<PlistArray>(value.value);
}

PlistDict* entryNamed(PlistArray& list, const std::string& key, const std::string& text) {
  for (PlistValue& entry : list) {
    PlistDict* dict = std::get_if<PlistDict>(&entry.value);
    if (dict == nullptr) continue;
    const auto found = dict->find(key);
    if (found != dict->end() && found->second.text() == text) return dict;
  }
  return nullptr;
}

}  // namespace keldane
