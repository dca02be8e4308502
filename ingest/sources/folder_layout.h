#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace keldane {

/// How a file of a mail folder holds its mail.
enum class MailForm {
  several,         ///< an mbox, or what a reader has to find out
  maildirMessage,  ///< this and the next two: the whole file, whatever its lines begin with
  mhMessage,
  messageFile,
  undelivered,  ///< a message that a program is still bringing in
};
[[nodiscard]] constexpr bool isOneMessage(MailForm form) {
  return form == MailForm::maildirMessage || form == MailForm::mhMessage ||
         form == MailForm::messageFile;
}

/// How mail lies below a folder or in a file that is kept as a source: what is to be walked, how
/// each file is read, and the mailbox that its user knows it by. Knows Maildir (also with dots for
/// levels), MH, the folders of Thunderbird, Evolution and KMail, and the folders that an mbox is
/// exported to.
///
///   name "Thunderbird", .../Mail/Local Folders/2004.sbd/Inbox  ->  Thunderbird/Local
///   Folders/2004/Inbox
///
/// Looks at folders and at the beginnings of files. One thread at a time.
class FolderLayout {
 public:
  FolderLayout(std::string name, std::string path);

  /// What is to be walked: of a mail program's folder only what holds mail.
  [[nodiscard]] std::vector<std::string> places() const;
  [[nodiscard]] MailForm formOf(const std::string& path);
  /// The mailbox of what lies in a file below one of the places, as UTF-8.
  [[nodiscard]] std::string mailboxOf(const std::string& path, MailForm form);

 private:
  struct Place {
    std::string path;
    std::string mailbox;  ///< of what lies at its top
  };

  [[nodiscard]] const Place* placeOf(std::string_view path) const;
  [[nodiscard]] bool isMaildir(const std::string& folder);
  /// Whether folders lie in the Maildir under names that begin with a dot.
  [[nodiscard]] bool hasDottedFolders(const std::string& maildir);

  std::vector<Place> places_;
  bool isEvolutionCache_ = false;
  std::map<std::string, bool> maildirs_;
  std::map<std::string, bool> dotted_;
};

/// A name in the UTF-7 that mail servers write names of folders in, as UTF-8; a name that is none
/// as it stands.
[[nodiscard]] std::string decodeFolderName(std::string_view name);

}  // namespace keldane
