#pragma once

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace keldane {

/// A made-up mail store on disk, below the home folder that a test gives: accounts, mailboxes one
/// within the other, message files whole and partial, in the layouts of the client's versions.
class MailStoreTree {
 public:
  struct Account {
    std::string folder;  ///< below the store
    std::string name;    ///< as the store or the client's preferences tell it; empty: they do not
  };

  /// `layout` is "V2" to "V10".
  MailStoreTree(const TemporaryFolder& home, std::string layout);

  /// Mailboxes are paths below the account, such as "Work.mbox/Client.mbox"; each gets a message.
  void addAccount(const Account& account, const std::vector<std::string>& mailboxes);
  /// A message file that is cut off, with its attachment beside it.
  void addPartial(const std::string& account, const std::string& mailbox) const;
  /// Path of a mailbox as the selection has it.
  [[nodiscard]] std::string mailbox(const std::string& account, const std::string& path) const;

 private:
  [[nodiscard]] std::string dataFolder(const std::string& account,
                                       const std::string& mailbox) const;
  void writeAccountList() const;

  const TemporaryFolder& home_;
  std::string layout_;
  std::vector<Account> accounts_;
};

}  // namespace keldane
