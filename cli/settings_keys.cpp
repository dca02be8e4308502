#include "cli/settings_keys.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <variant>

#include "base/files.h"
#include "base/text.h"
#include "settings/mail_folders.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

/// The text columns of the archive's row hold no more characters.
constexpr std::size_t kMostNumberLength = 16;
constexpr std::size_t kMostFolderLength = 127;
constexpr int kMostHours = 23;
constexpr int kMostLimit = 999999999;

/// Where a value stands: in the settings of the archive, or in those of the user.
template <typename Value>
class Place {
 public:
  constexpr Place(Value ArchiveSettings::*member) : archive_(member) {}
  constexpr Place(Value UserSettings::*member) : user_(member) {}
  [[nodiscard]] const Value& of(const Settings& settings) const {
    return archive_ != nullptr ? settings.archive.*archive_ : settings.user.*user_;
  }
  [[nodiscard]] Value& of(Settings& settings) const {
    return archive_ != nullptr ? settings.archive.*archive_ : settings.user.*user_;
  }

 private:
  Value ArchiveSettings::*archive_ = nullptr;
  Value UserSettings::*user_ = nullptr;
};

struct Check {
  Place<int> place;
};
struct Choice {
  Place<int> place;
  std::vector<std::string> words;  ///< by the number that is stored
};
struct WholeNumber {
  std::variant<Place<int>, Place<std::string>> place;
  int least;
  int most;
};
struct Millions {
  Place<std::string> place;
};
struct ImportFolder {};
struct SortField {};

struct Entry {
  const char* name;
  const char* meaning;
  std::variant<Check, Choice, WholeNumber, Millions, ImportFolder, SortField> kind;
  bool windowOnly = false;
};

/// Fields in the second row of the window's sort choice, by column. The first row does not outlast
/// the program's end, because a stored row 0 is passed over when the settings are read.
const std::vector<std::string>& sortFields() {
  static const std::vector<std::string> fields = {"date", "subject", "mailbox"};
  return fields;
}

const std::vector<Entry>& entries() {
  using A = ArchiveSettings;
  using U = UserSettings;
  static const std::vector<Entry> all = {
      {"updatesState", "check for updates at the start", Check{&A::updatesState}, true},
      {"skipDupsState", "no test for duplicates: what is stored already is stored again",
       Check{&A::skipDupsState}},
      {"keepDiffering", "store a message that the duplicate test takes for another one",
       Check{&U::keepDiffering}},
      {"declaredCharsets", "read files that are not UTF-8 in the charsets they name",
       Check{&U::declaredCharsets}},
      {"indexRuns", "archive runs take what they store into the word index at once",
       Check{&U::indexRuns}},
      {"gmailLabels", "labels of messages that Gmail has exported become keywords",
       Check{&U::gmailLabels}},
      {"largeAttachState", "skip large attachments", Check{&A::largeAttachState}},
      {"attachSize", "size from which an attachment is large, in millions of bytes",
       Millions{&A::attachSize}},
      {"launchAttachments", "open an attachment once it is taken out", Check{&U::launchAttachments},
       true},
      {"showOnStartupState", "show the getting-started window", Check{&U::showOnStartupState},
       true},
      {"appearanceState", "light or dark windows",
       Choice{&A::appearanceState, {"system", "light", "dark"}}, true},
      {"postbox", "mail client whose store is read", Choice{&A::postbox, {"applemail", "postbox"}}},
      {"mailboxesState", "what a run goes by: the chosen accounts, or the chosen mailboxes",
       Choice{&A::mailboxesState, {"accounts", "mailboxes"}}},
      {"trashState", "archive trash mailboxes too", Check{&A::trashState}},
      {"junkState", "archive junk mailboxes too", Check{&A::junkState}},
      {"importFolderState", "archive the import folder too", Check{&A::importFolderState}},
      {"importFolderPath", "the import folder; choosing one turns importFolderState on",
       ImportFolder{}},
      {"deleteFolderState", "empty the import folder once it is archived",
       Check{&A::deleteFolderState}},
      {"limitSearchState", "limit the rows of a search", Check{&A::limitSearchState}},
      {"limitSearchSize", "that limit; 0 is none",
       WholeNumber{Place(&A::limitSearchSize), 0, kMostLimit}},
      {"dateFormat", "order of a date's parts",
       Choice{&U::dateFormat, {"year-first", "month-first", "day-first"}}},
      {"separator", "what stands between a date's parts", Choice{&U::separator, {"-", "/", "."}}},
      {"sortField", "what found messages are sorted by", SortField{}},
      {"sortOrder", "how found messages are sorted",
       Choice{&U::sortOrder, {"ascending", "descending"}}},
      {"hoursState", "scheduled runs repeat through the day", Check{&U::hoursState}},
      {"hoursStep", "hours between them", WholeNumber{Place(&U::hoursStep), 1, kMostHours}},
      {"leaveLogState", "a scheduled run leaves its log on the Desktop", Check{&U::leaveLogState}},
  };
  return all;
}

const Entry* find(std::string_view name) {
  for (const Entry& entry : entries()) {
    if (name == entry.name) return &entry;
  }
  return nullptr;
}

Failure noSuchSetting(std::string_view name) {
  return Failure{"there is no setting \"" + printable(name) + "\""};
}

std::string accepted(const Check&) { return "on or off"; }
std::string accepted(const Choice& choice) { return join(choice.words, ", "); }
std::string accepted(const WholeNumber& number) {
  return "a whole number from " + std::to_string(number.least) + " to " +
         std::to_string(number.most);
}
std::string accepted(const Millions&) { return "a number such as 1.6"; }
std::string accepted(const ImportFolder&) { return "a folder that exists, or \"\" for none"; }
std::string accepted(const SortField&) { return join(sortFields(), ", "); }

std::string shown(const Settings& settings, const Check& check) {
  return check.place.of(settings) != 0 ? "on" : "off";
}
std::string shown(const Settings& settings, const Choice& choice) {
  const int number = choice.place.of(settings);
  const bool known = number >= 0 && static_cast<std::size_t>(number) < choice.words.size();
  return known ? choice.words[static_cast<std::size_t>(number)] : std::to_string(number);
}
std::string shown(const Settings& settings, const WholeNumber& number) {
  const auto* const text = std::get_if<Place<std::string>>(&number.place);
  return text != nullptr ? text->of(settings)
                         : std::to_string(std::get<Place<int>>(number.place).of(settings));
}
std::string shown(const Settings& settings, const Millions& size) {
  return size.place.of(settings);
}
std::string shown(const Settings& settings, const ImportFolder&) {
  return settings.archive.importFolderPath;
}
std::string shown(const Settings& settings, const SortField&) {
  const UserSettings& user = settings.user;
  if (user.sortFieldRow == 0) return user.sortFieldCol == 0 ? "id" : "from";
  return sortFields()[static_cast<std::size_t>(std::clamp(user.sortFieldCol, 0, 2))];
}

bool isDigits(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Each of these puts the value in, or says why not; an empty reason: not what is accepted.
using Refusal = std::optional<std::string>;

Refusal put(Settings& settings, const Check& check, const std::string& value) {
  if (value != "on" && value != "off" && value != "1" && value != "0") return "";
  check.place.of(settings) = value == "on" || value == "1" ? 1 : 0;
  return std::nullopt;
}

Refusal put(Settings& settings, const Choice& choice, const std::string& value) {
  const auto word = std::find(choice.words.begin(), choice.words.end(), value);
  if (word == choice.words.end()) return "";
  choice.place.of(settings) = static_cast<int>(word - choice.words.begin());
  return std::nullopt;
}

Refusal put(Settings& settings, const WholeNumber& number, const std::string& value) {
  const int read = leadingInt(value);
  if (!isDigits(value) || read < number.least || read > number.most) return "";
  if (const auto* const text = std::get_if<Place<std::string>>(&number.place)) {
    text->of(settings) = std::to_string(read);
  } else {
    std::get<Place<int>>(number.place).of(settings) = read;
  }
  return std::nullopt;
}

Refusal put(Settings& settings, const Millions& size, const std::string& value) {
  const std::size_t point = value.find('.');
  const bool whole = isDigits(std::string_view(value).substr(0, point));
  const bool fraction = point == std::string::npos || isDigits(value.substr(point + 1));
  if (!whole || !fraction || value.size() > kMostNumberLength) return "";
  size.place.of(settings) = value;
  return std::nullopt;
}

Refusal put(Settings& settings, const SortField&, const std::string& value) {
  const auto field = std::find(sortFields().begin(), sortFields().end(), value);
  if (field == sortFields().end()) return "";
  settings.user.sortFieldRow = 1;
  settings.user.sortFieldCol = static_cast<int>(field - sortFields().begin());
  return std::nullopt;
}

Refusal putFolder(Settings& settings, const std::string& value, const std::string& homePath) {
  if (value.empty()) {
    settings.archive.importFolderPath.clear();
    settings.archive.importFolderState = 0;
    return std::nullopt;
  }
  std::error_code failed;
  if (!isDirectory(value)) return "";
  std::string path = fs::absolute(value, failed).lexically_normal().string();
  if (failed) return failed.message();
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  // The path goes into its statement as it stands.
  if (path.find_first_of("\"\\") != std::string::npos) {
    return "a folder whose path holds a double quote or a backslash cannot be kept";
  }
  if (utf16Length(path) > kMostFolderLength) return "the path of the folder is too long to be kept";
  // An import folder is read whole, and may be emptied.
  if (isOrHolds(path, homePath)) {
    return "the home folder and those above it are no import folders";
  }
  settings.archive.importFolderPath = std::move(path);
  settings.archive.importFolderState = 1;
  return std::nullopt;
}

}  // namespace

const std::vector<SettingKey>& settingKeys() {
  static const std::vector<SettingKey> keys = [] {
    std::vector<SettingKey> made;
    for (const Entry& entry : entries()) {
      std::string accepts = std::visit([](const auto& kind) { return accepted(kind); }, entry.kind);
      made.push_back({entry.name, std::move(accepts), entry.meaning, entry.windowOnly});
    }
    return made;
  }();
  return keys;
}

Result<std::string> settingValue(const Settings& settings, std::string_view name) {
  const Entry* entry = find(name);
  if (entry == nullptr) return noSuchSetting(name);
  return std::visit([&settings](const auto& kind) { return shown(settings, kind); }, entry->kind);
}

Result<void> setSettingValue(Settings& settings, std::string_view name, const std::string& value,
                             const std::string& homePath) {
  const Entry* entry = find(name);
  if (entry == nullptr) return noSuchSetting(name);
  const Refusal refusal = std::visit(
      [&](const auto& kind) -> Refusal {
        if constexpr (std::is_same_v<std::decay_t<decltype(kind)>, ImportFolder>) {
          return putFolder(settings, value, homePath);
        } else {
          return put(settings, kind, value);
        }
      },
      entry->kind);
  if (!refusal) {
    // Without a folder there is nothing to import.
    ArchiveSettings& archive = settings.archive;
    if (name == "importFolderState" && archive.importFolderPath.empty() &&
        archive.importFolderState != 0) {
      archive.importFolderState = 0;
      return Failure{"choose the folder first: set importFolderPath"};
    }
    return {};
  }
  if (!refusal->empty()) return Failure{*refusal};
  const std::string accepts =
      std::visit([](const auto& kind) { return accepted(kind); }, entry->kind);
  return Failure{std::string(name) + " takes " + accepts + ", not \"" + printable(value) + "\""};
}

}  // namespace keldane
