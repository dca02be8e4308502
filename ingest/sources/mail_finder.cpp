#include "ingest/sources/mail_finder.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"
#include "base/text.h"
#include "ingest/reading/foreign_file.h"
#include "ingest/sources/exported_mail.h"
#include "ingest/sources/mail_store_probe.h"
#include "ingest/sources/message_counter.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

constexpr const char* kChooseAdvice = "choose its accounts with `keldane sources choose`";

std::string userName(const Environment& environment) {
  for (const char* name : {"LOGNAME", "USER"}) {
    if (auto value = environment.variable(name); value && !value->empty()) return *value;
  }
  const passwd* user = ::getpwuid(::getuid());
  return user == nullptr ? std::string() : std::string(user->pw_name);
}

class Finder {
 public:
  Finder(const MailPlaces& places, Progress& progress)
      : places_(places), progress_(progress), counter_(progress, complaint()) {}

  FoundSources find() {
    // Folders of mail programs first: what lies in them is not told a second time.
    for (MailPlace& place : programPlaces(places_.homePath)) add(std::move(place));
    for (const std::string& spool : places_.spools) {
      add({MailKind::spool, {"Spool", spool}});
    }
    addMailStore();
    ExportedMail exported = findExportedMail(places_.homePath, complaint());
    for (MailPlace& place : exported.places) add(std::move(place));
    for (MailPlace& place : exported.packed) addUncounted(std::move(place), {});
    for (MailPlace& place : exported.outlook) {
      std::string advice(outlookFileKind(place.folder.path));
      addUncounted(std::move(place), std::move(advice));
    }
    nameApart();
    return std::move(found_);
  }

 private:
  MessageCounter::Complaint complaint() {
    return [this](const std::string& path, const std::string& reason) {
      found_.unread.push_back({path, reason});
    };
  }

  /// False when there is nothing, or it has been found already, also as a part of something.
  bool isNew(const std::string& path) {
    std::error_code failed;
    const fs::path canonical = fs::canonical(path, failed);
    if (failed) {
      if (failed == std::errc::permission_denied) {
        found_.unread.push_back({path, failed.message()});
      }
      return false;
    }
    for (fs::path above = canonical; above.has_relative_path(); above = above.parent_path()) {
      if (taken_.count(above.string()) != 0) return false;
    }
    taken_.insert(canonical.string());
    return true;
  }

  void add(MailPlace place) {
    if (progress_.cancelled() || !isNew(place.folder.path)) return;
    progress_.stage("Looking at " + place.folder.path);
    const MailCount count = counter_.count(place.folder.path);
    if (count.messages() == 0) return;
    if (place.kindIsOpen) place.kind = kindOf(count);
    found_.mail.push_back({place.kind,
                           std::move(place.folder),
                           count.messages(),
                           count.sizeBytes,
                           count.isEstimate,
                           false,
                           {}});
  }

  static MailKind kindOf(const MailCount& count) {
    if (count.ofMaildir >= count.ofMh && count.ofMaildir >= count.ofMbox) return MailKind::maildir;
    return count.ofMh >= count.ofMbox ? MailKind::mh : MailKind::mbox;
  }

  void addMailStore() {
    ProcessState process;
    process.homePath = places_.homePath;
    probeMailStore(process);
    const std::size_t before = found_.mail.size();
    add({MailKind::mailStore,
         {"Mail store", process.homePath + "/Library/Mail" + versionFolder(process)}});
    if (found_.mail.size() > before) found_.mail.back().advice = kChooseAdvice;
  }

  void addUncounted(MailPlace place, std::string advice) {
    if (!isNew(place.folder.path)) return;
    std::error_code failed;
    const std::uintmax_t bytes = fs::file_size(place.folder.path, failed);
    found_.mail.push_back({place.kind, std::move(place.folder), 0, failed ? 0 : bytes, false, true,
                           std::move(advice)});
  }

  /// A second place of the same name gets a number; case does not tell sources apart.
  void nameApart() {
    const auto isBefore = [](const std::string& a, const std::string& b) {
      return compareNoCase(a, b) < 0;
    };
    std::set<std::string, decltype(isBefore)> names(isBefore);
    for (FoundMail& mail : found_.mail) {
      const std::string name = mail.folder.name;
      for (int number = 2; !names.insert(mail.folder.name).second; ++number) {
        mail.folder.name = name + " " + std::to_string(number);
      }
    }
  }

  const MailPlaces& places_;
  Progress& progress_;
  MessageCounter counter_;
  std::set<std::string> taken_;
  FoundSources found_;
};

}  // namespace

MailPlaces mailPlacesOf(const std::string& homePath, const Environment& environment) {
  MailPlaces places{homePath, {}};
  if (const auto spool = environment.variable("MAIL"); spool && spool->starts_with('/')) {
    places.spools.push_back(*spool);
    return places;
  }
  const std::string user = userName(environment);
  if (user.empty() || user.find('/') != std::string::npos) return places;
  for (const char* folder : {"/var/mail/", "/var/spool/mail/"}) {
    places.spools.push_back(folder + user);
  }
  return places;
}

FoundSources findMail(const MailPlaces& places, Progress& progress) {
  return Finder(places, progress).find();
}

}  // namespace keldane
