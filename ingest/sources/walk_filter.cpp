#include "ingest/sources/walk_filter.h"

#include <initializer_list>

#include "base/text.h"

namespace keldane {
namespace {

bool holdsOneOf(std::string_view path, std::initializer_list<std::string_view> words) {
  for (const std::string_view word : words) {
    if (path.find(word) != std::string_view::npos) return true;
  }
  return false;
}

bool isTrash(std::string_view path) { return holdsOneOf(path, {"Trash", "Deleted"}); }
bool isJunk(std::string_view path) { return holdsOneOf(path, {"Junk", "Spam", "spam"}); }

void removeFirstCharacter(std::string& text) {
  std::size_t length = 1;
  while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80) {
    ++length;
  }
  text.erase(0, length);
}

void removeLeading(std::string& text, std::string_view what) {
  if (text.starts_with(what)) text.erase(0, what.size());
}

}  // namespace

std::optional<std::string_view> WalkFilter::exclusion(std::string_view path) const {
  if (lastPathComponent(path).starts_with('.')) return kHiddenFile;
  // Who chooses mailboxes decides on trash and junk for all of the run, the import folder included.
  if (mailboxesState || !importMode) {
    if (!mailboxesState && holdsOneOf(path, {"Mailboxes"}) && !holdsOneOf(path, {"Sent"})) {
      return "mailbox of this machine";
    }
    if (!trashState && isTrash(path)) return "trash mailbox";
    if (!junkState && isJunk(path)) return "junk mailbox";
  }
  if (mailboxesState || importMode) return std::nullopt;
  if (holdsOneOf(path, {"Delivered", "Drafts", "Outbox"})) return "drafts or outgoing mailbox";
  if (!holdsOneOf(path, {"INBOX", "Inbox", "Sent"})) return "neither in box nor sent box";
  return std::nullopt;
}

void keepPathInStore(std::string& path, std::string_view homePath,
                     std::string_view mailRootSuffix) {
  removeAll(path, homePath);
  removeAll(path, mailRootSuffix);
  removeFirstCharacter(path);
}

std::string mailboxNameOf(std::string_view path, std::string_view homePath,
                          std::string_view mailRootSuffix) {
  std::size_t end = path.rfind(".mbox");
  if (end == std::string_view::npos) end = path.rfind(".imapmbox");
  std::string name(path.substr(0, end));
  keepPathInStore(name, homePath, mailRootSuffix);
  removeLeading(name, "IMAP-");
  removeLeading(name, "POP-");
  return name;
}

}  // namespace keldane
