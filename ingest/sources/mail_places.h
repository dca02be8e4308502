#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/mail_folder.h"

namespace keldane {

/// What keeps the mail of a place, or in which form it lies there.
enum class MailKind {
  mailStore,  ///< of the mail client whose accounts are chosen; never a kept folder
  thunderbird,
  evolution,
  kmail,
  claws,
  maildir,
  mh,
  mbox,
  spool,
  exported,  ///< mbox files and folders that a program has written for the user
  takeout,
  outlook,  ///< a file that cannot be read
};
/// What a user calls it: "Thunderbird", "MH folders".
[[nodiscard]] std::string_view mailKindName(MailKind kind);

/// Where mail may lie.
struct MailPlace {
  MailKind kind = MailKind::mbox;
  MailFolder folder;
  bool kindIsOpen = false;  ///< what lies there decides between maildir, mh and mbox
};

/// The places below a home folder where mail programs keep mail, those first that a program's own
/// settings name. Places that are not there are among them, and some may be there twice.
[[nodiscard]] std::vector<MailPlace> programPlaces(const std::string& homePath);

}  // namespace keldane
