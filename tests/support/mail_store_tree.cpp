#include "tests/support/mail_store_tree.h"

#include <utility>

namespace keldane {
namespace {

constexpr const char* kMessage =
    "From: Ann <ann@example.com>\nDate: Mon, 15 Jan 2024 10:20:30 +0000\nSubject: x\n\nx\n";

std::string emlx(const std::string& message) {
  return std::to_string(message.size()) + "\n" + message + "<plist version=\"1.0\"></plist>\n";
}

std::string plist(const std::string& value) {
  return "<plist version=\"1.0\">" + value + "</plist>";
}

std::string pair(const std::string& key, const std::string& text) {
  return "<key>" + key + "</key><string>" + text + "</string>";
}

}  // namespace

MailStoreTree::MailStoreTree(const TemporaryFolder& home, std::string layout)
    : home_(home), layout_(std::move(layout)) {
  home_.write("Library/Mail/" + layout_ + "/MailData/Messages/Envelope.mbox", "");
}

std::string MailStoreTree::dataFolder(const std::string& account,
                                      const std::string& mailbox) const {
  const std::string folder = "Library/Mail/" + layout_ + "/" + account + "/" + mailbox;
  return layout_ == "V2" ? folder : folder + "/7E2A/Data";
}

std::string MailStoreTree::mailbox(const std::string& account, const std::string& path) const {
  // The folder of a V2 store is part of the root.
  return (layout_ == "V2" ? "" : layout_ + "/") + account + "/" + path;
}

void MailStoreTree::addAccount(const Account& account, const std::vector<std::string>& mailboxes) {
  for (const std::string& mailbox : mailboxes) {
    home_.write(dataFolder(account.folder, mailbox) + "/Messages/1.emlx", emlx(kMessage));
    home_.write("Library/Mail/" + layout_ + "/" + account.folder + "/" + mailbox + "/Info.plist",
                plist("<dict/>"));
  }
  accounts_.push_back(account);
  writeAccountList();
}

void MailStoreTree::addPartial(const std::string& account, const std::string& mailbox) const {
  const std::string folder = dataFolder(account, mailbox);
  home_.write(folder + "/Messages/2.partial.emlx", emlx(kMessage));
  home_.write(folder + "/Attachments/2/2/Messages.mbox/a.txt", "x");
}

void MailStoreTree::writeAccountList() const {
  const std::string data = "Library/Mail/" + layout_ + "/MailData/";
  std::string entries;
  for (const Account& account : accounts_) {
    if (layout_ == "V2") {
      const std::string name = account.name.empty() ? "" : pair("AccountName", account.name);
      entries +=
          "<dict>" + name + pair("AccountPath", "~/Library/Mail/V2/" + account.folder) + "</dict>";
    } else if (!account.name.empty()) {
      entries += "<key>" + account.folder + "</key><dict>" +
                 pair("AccountURL", "imap://" + account.name + "@imap.example.com/") + "</dict>";
    }
  }
  if (layout_ == "V2") {
    home_.write(data + "Accounts.plist",
                plist("<dict><key>MailAccounts</key><array>" + entries + "</array></dict>"));
  } else {
    home_.write(data + "Signatures/AccountsMap.plist", plist("<dict>" + entries + "</dict>"));
  }
}

}  // namespace keldane
