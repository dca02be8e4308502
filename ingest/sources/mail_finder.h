#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ingest/sources/mail_places.h"
#include "platform/environment.h"
#include "platform/progress.h"
#include "settings/mail_folder.h"

namespace keldane {

/// A place with mail.
struct FoundMail {
  MailKind kind = MailKind::mbox;
  /// What it is to be called as a source, and where it lies: absolute, without a slash behind.
  MailFolder folder;
  std::uint64_t messages = 0;  ///< those marked as deleted included
  std::uint64_t sizeBytes = 0;
  bool isEstimate = false;   ///< more was there than is counted
  bool isUncounted = false;  ///< packed, or in a form that cannot be read
  std::string advice;        ///< what to do with it when it cannot be kept as a source; else empty

  [[nodiscard]] bool canBeKept() const { return advice.empty(); }
};

/// A folder or file on the way that could not be read.
struct UnreadPlace {
  std::string path;
  std::string reason;
};

struct FoundSources {
  std::vector<FoundMail> mail;  ///< in an order that stays as long as the places do
  std::vector<UnreadPlace> unread;
};

/// Where is looked. All paths absolute, without a slash behind.
struct MailPlaces {
  std::string homePath;
  /// Where the system delivers this user's mail: a file, or a Maildir.
  std::vector<std::string> spools;
};
/// The places of this user: `MAIL` names the spool, or else it is under the user's name in the
/// folders where systems have it.
[[nodiscard]] MailPlaces mailPlacesOf(const std::string& homePath, const Environment& environment);

/// Finds the mail that lies on this machine and counts it. Looks only where mail programs keep
/// theirs, and through a limited number of entries where users put what they have exported; reads
/// beginnings of files, and mbox files to count their messages, up to a limit behind which it
/// estimates. Changes nothing. Each place comes once, whatever links lead there. Can be cancelled:
/// what was found by then is answered.
[[nodiscard]] FoundSources findMail(const MailPlaces& places, Progress& progress);

}  // namespace keldane
