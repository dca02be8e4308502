#include "ingest/reading/message_reader.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "archive/mboxrd_form.h"
#include "base/files.h"
#include "base/text.h"
#include "ingest/reading/foreign_file.h"
#include "ingest/reading/mail_marks.h"
#include "ingest/sources/walk_filter.h"

namespace keldane {
namespace {

constexpr std::string_view kPropertyList = "property list";
constexpr std::string_view kNoMailBegins = "no mail by its beginning";
constexpr std::string_view kOfMessage = "attachment of a message";
constexpr std::string_view kTooLong = "no message of a size that can be stored";
constexpr std::string_view kEmptyMbox = "no message in it";
constexpr const char* kChanged = "changed while it was read";
constexpr const char* kBeingWritten = "still being written";

struct EndingOfNoMbox {
  std::string_view ending;
  std::string_view kind;
};
constexpr EndingOfNoMbox kEndingsOfNoMbox[] = {
    {".plist", kPropertyList}, {".zip", "zip archive"}, {".pdf", "PDF document"}};

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

bool isInAttachments(std::string_view path) { return holds(path, "/Attachments/"); }

}  // namespace

MessageReader::MessageReader(Context context)
    : context_(std::move(context)),
      preparer_({context_.plan, context_.environment, context_.mostUnits}) {}

int MessageReader::doOneEmail(const std::string& currentEmailItem) {
  const EmailItem item = splitEmailItem(currentEmailItem);
  if (item.path.empty()) return 0;
  if (item.path.ends_with(".plist")) {
    context_.ledger.recordNonMail(item.path, kPropertyList);
    return 0;
  }
  const bool mayBeSeveral =
      context_.plan.importMode && !item.path.ends_with(".emlx") && !item.path.ends_with(".eml");
  hasEnvelopeLine_ = mayBeSeveral && isMaildirFile(item.path);
  const bool several = mayBeSeveral && !hasEnvelopeLine_;
  if (!several && isInAttachments(item.path)) {
    // It counts as a file read, though its content would be of no use.
    if (context_.process.debugLogOn && fileExists(item.path))
      context_.debugLog.write(item.path + "\n");
    context_.ledger.recordNonMail(item.path, kOfMessage);
    return 0;
  }
  preparer_.partial.forget();
  context_.message.currentPath = item.path;
  if (isForeign(item.path)) return 0;
  if (several) {
    readSeveral(item);
  } else {
    readOneMessage(item.path, accountMailbox(item.mailbox));
  }
  return 1;
}

void MessageReader::readOneMessage(const std::string& path, const std::string& mailbox) {
  if (isDeletedInMaildir(path)) return leaveOutDeleted(path);
  Unread why;
  const std::optional<FileState> state = rested(path, why);
  if (state && state->sizeBytes > limitBytes()) {
    context_.ledger.beginMessage(path, std::nullopt);
    return refuseTooLong();
  }
  std::optional<PreparedMessage> prepared;
  if (state && ahead_ != nullptr) prepared = ahead_->take(path, *state, hasEnvelopeLine_);
  std::optional<std::string> bytes;
  if (state && !prepared) bytes = readRested(path, *state, why);
  if (!bytes && !prepared) return tell(path, why);
  if (context_.process.debugLogOn) context_.debugLog.write(path + "\n");
  const bool isStub = mayBeStub(path);
  // What belongs to a stub lies in other files, which may change while it does not.
  if (!isStub) noteReadToEnd(*state, false);
  context_.ledger.beginMessage(path, std::nullopt);
  if (!prepared) guarded([&] { prepared = prepareFile(path, std::move(*bytes), isStub); });
  if (prepared) deliver(std::move(*prepared), mailbox);
}

/// Nothing when the message has its outcome already.
std::optional<PreparedMessage> MessageReader::prepareFile(const std::string& path,
                                                          std::string bytes, bool isStub) {
  std::string stub = isStub ? bytes : std::string();
  const mime::SourceEncoding encoding = encodingOf(bytes);
  MessageSource source = makeMessageSource(std::move(bytes), encoding, path, std::nullopt);
  if (isStub) {
    const std::size_t length = source.text.size();
    const Result<void> repaired = preparer_.partial.repair(
        path, source.text, [this](const std::string& part) { return readPart(part); });
    // Nothing by half: the next run may find what is missing now.
    if (!repaired) {
      refuse({LedgerOutcome::failed, repaired.error()});
      return std::nullopt;
    }
    if (source.text.size() != length) source.origin.exactBytes = std::move(stub);
  }
  return preparer_.prepare(std::move(source), hasEnvelopeLine_);
}

void MessageReader::readSeveral(const EmailItem& item) {
  const std::string mailbox = accountMailbox(item.mailbox);
  Unread why;
  const std::optional<FileState> state = rested(item.path, why);
  if (state && state->sizeBytes > limitBytes()) return readLongFile(item.path, mailbox, *state);
  std::optional<std::string> bytes = state ? readRested(item.path, *state, why) : std::nullopt;
  if (!bytes) return tell(item.path, why);
  if (context_.process.debugLogOn) context_.debugLog.write(item.path + "\n");
  // Whether the file is UTF-8 is decided for all of it.
  const mime::SourceEncoding encoding = encodingOf(*bytes);
  std::vector<MessagePiece> pieces;
  context_.ledger.beginMessage(item.path, 0);
  guarded([&pieces, &bytes] {
    pieces = cutAtSeparators(*bytes);
    bytes.reset();
  });
  bool isFirst = true;
  for (MessagePiece& piece : pieces) {
    if (mustStop() && !isFirst) return;
    if (!isFirst) context_.ledger.beginMessage(item.path, piece.offsetBytes);
    if (piece.isTooLong) {
      refuseTooLong();
    } else {
      deliver(preparer_.preparePiece(std::move(piece), isFirst, item.path, encoding), mailbox);
    }
    isFirst = false;
  }
  noteReadToEnd(*state, false);
}

int MessageReader::doMboxFile(const std::string& currentEmailItem) {
  const EmailItem item = splitEmailItem(currentEmailItem);
  if (isInAttachments(currentEmailItem)) {
    context_.ledger.recordNonMail(item.path, kOfMessage);
    return 0;
  }
  for (const auto& [ending, kind] : kEndingsOfNoMbox) {
    if (!item.path.ends_with(ending)) continue;
    context_.ledger.recordNonMail(item.path, kind);
    return 1;
  }
  context_.message.msgMailbox = item.path;
  readUnlessForeign(item.path, item.path, isMaildirFile(item.path));
  return 1;
}

void MessageReader::doKeptFile(const std::string& path, const std::string& mailbox,
                               bool isOneMessage) {
  if (path.ends_with(".plist")) return context_.ledger.recordNonMail(path, kPropertyList);
  // A Maildir may be called "Attachments".
  if (!isOneMessage && isInAttachments(path)) {
    return context_.ledger.recordNonMail(path, kOfMessage);
  }
  // What is no regular file is not opened.
  const bool mayBeOther = !isOneMessage && stateOf(path);
  const Result<std::string> beginning =
      mayBeOther ? readBeginning(path, kSeparatorAheadBytes) : std::string();
  const bool isOther = beginning && !beginning->empty() && !beginsLikeMail(*beginning) &&
                       !foreignKind(beginning->substr(0, kLookedAtBytes), path);
  if (isOther) return context_.ledger.recordNonMail(path, kNoMailBegins);
  readUnlessForeign(path, mailbox, isOneMessage);
}

void MessageReader::readUnlessForeign(const std::string& path, const std::string& mailbox,
                                      bool isOneMessage) {
  preparer_.partial.forget();
  hasEnvelopeLine_ = isOneMessage;
  context_.message.currentPath = path;
  if (isForeign(path)) return;
  if (isOneMessage) return readOneMessage(path, mailbox);
  Unread why;
  if (const std::optional<FileState> state = rested(path, why)) {
    readLongFile(path, mailbox, *state);
  } else {
    tell(path, why);
  }
}

void MessageReader::readLongFile(const std::string& path, const std::string& mailbox,
                                 const FileState& state) {
  const std::uint64_t begin =
      context_.knownFiles == nullptr ? 0 : context_.knownFiles->grownFrom(path, state);
  MboxReader mbox(path, limitBytes(), begin);
  const bool isWhole = readPieces(mbox, path, mailbox, [&path, &state] {
    const Result<FileState> after = stateOf(path);
    return !after || *after != state;
  });
  if (isWhole) noteReadToEnd(state, true);
}

/// False: not all of it has been read.
bool MessageReader::readPieces(MboxReader& mbox, const std::string& path,
                               const std::string& mailbox,
                               const std::function<bool()>& hasChanged) {
  const Result<bool> opened = mbox.open();
  if (!opened) {
    tell(path, {LedgerOutcome::unreadable, opened.error()});
    return false;
  }
  if (!*opened) {
    if (!mustStop()) context_.ledger.recordNonMail(path, kEmptyMbox);
    return !mustStop();
  }
  PiecesAhead pieces(mbox, path, {context_.plan, context_.environment, context_.mostUnits});
  bool isFirst = true;
  while (!mustStop()) {
    std::optional<PiecesAhead::Piece> piece = pieces.next();
    if (!piece) break;
    // The message at the end is the one that may be in the middle of being written.
    if (piece->isAtEnd && hasChanged()) {
      tell(path, {LedgerOutcome::postponed, kChanged});
      return false;
    }
    context_.ledger.beginMessage(path, piece->offsetBytes);
    if (piece->isTooLong) {
      refuseTooLong();
    } else {
      deliver(std::move(piece->prepared), mailbox);
    }
    isFirst = false;
  }
  if (!pieces.failure().empty()) {
    tell(path, {LedgerOutcome::unreadable, pieces.failure()});
  } else if (isFirst && !mustStop()) {
    context_.ledger.recordNonMail(path, kEmptyMbox);
  }
  return pieces.failure().empty() && !mustStop();
}

void MessageReader::doPackedFile(const std::string& path, const std::string& mailbox) {
  preparer_.partial.forget();
  context_.message.currentPath = path;
  Unread why;
  const std::optional<FileState> state = rested(path, why);
  if (!state) return tell(path, why);
  PackedFile packed(path);
  const Result<void> done =
      packed.read({.visit =
                       [&](const PackedEntry& entry) {
                         readPackedEntry(entry, path, mailbox);
                         return !mustStop();
                       },
                   .skipped =
                       [&](const std::string& name, const std::string& reason) {
                         tell(path + "/" + name, {LedgerOutcome::unreadable, reason});
                       }});
  const Result<FileState> after = stateOf(path);
  if (!after || *after != *state) {
    tell(path, {LedgerOutcome::postponed, kChanged});
  } else if (!done) {
    tell(path, {LedgerOutcome::unreadable, done.error()});
  } else if (!mustStop()) {
    noteReadToEnd(*state, false);
  }
}

void MessageReader::readPackedEntry(const PackedEntry& entry, const std::string& path,
                                    const std::string& mailbox) {
  const std::string inside = path + "/" + entry.name;
  const std::string_view name = lastPathComponent(entry.name);
  const std::size_t folderEnd = entry.name.size() - name.size();
  const std::string folder = "/" + entry.name.substr(0, folderEnd);
  const bool isOfMaildir = folder.ends_with("/cur/") || folder.ends_with("/new/");
  const bool isMessage = isOfMaildir || name.ends_with(".eml") || name.ends_with(".emlx");
  context_.message.currentPath = inside;
  if (name.starts_with('.')) return context_.ledger.recordNonMail(inside, kHiddenFile);
  if (isInAttachments(inside)) return context_.ledger.recordNonMail(inside, kOfMessage);
  if (const auto kind = foreignKind(entry.beginning.substr(0, kLookedAtBytes), inside)) {
    return context_.ledger.recordNonMail(inside, *kind);
  }
  if (!isMessage && !beginsLikeMail(entry.beginning)) {
    return context_.ledger.recordNonMail(inside, kNoMailBegins);
  }
  if (context_.process.debugLogOn) context_.debugLog.write(inside + "\n");
  hasEnvelopeLine_ = isOfMaildir;
  if (isMessage) {
    return readPackedMessage(entry, inside, mailbox + folder.substr(0, folder.size() - 1));
  }
  MboxReader mbox(entry.read, limitBytes());
  static_cast<void>(readPieces(mbox, inside, mailbox + "/" + entry.name, [] { return false; }));
}

void MessageReader::readPackedMessage(const PackedEntry& entry, const std::string& inside,
                                      const std::string& mailbox) {
  // Its attachments are other files, which the client keeps beside it.
  if (holds(lastPathComponent(inside), ".partial.")) {
    return tell(inside, {LedgerOutcome::unreadable, "part of a message: unpack the file first"});
  }
  std::string bytes;
  std::string_view piece;
  Result<bool> more = entry.read(piece);
  for (; more && *more && bytes.size() <= limitBytes(); more = entry.read(piece)) bytes += piece;
  if (!more) return tell(inside, {LedgerOutcome::unreadable, more.error()});
  if (isDeletedInMaildir(inside)) return leaveOutDeleted(inside);
  context_.ledger.beginMessage(inside, std::nullopt);
  if (bytes.size() > limitBytes()) return refuseTooLong();
  std::optional<PreparedMessage> prepared;
  guarded([&] { prepared = prepareFile(inside, std::move(bytes), false); });
  if (prepared) deliver(std::move(*prepared), mailbox);
}

/// Archives and documents get their line at once, however large they are.
bool MessageReader::isForeign(const std::string& path) {
  // What is no regular file is not opened: a device may do something then. The reading tells why.
  const Result<FileState> state = stateOf(path);
  if (!state || isReadAhead(path, *state)) return false;
  const Result<std::string> beginning = readBeginning(path, kLookedAtBytes);
  if (!beginning) return false;
  const std::optional<std::string_view> kind = foreignKind(*beginning, path);
  if (kind) context_.ledger.recordNonMail(path, *kind);
  return kind.has_value();
}

/// The file's state when it has not been changed for a while. For all files of a run together it is
/// not waited longer than for one: the others rest meanwhile.
std::optional<FileState> MessageReader::rested(const std::string& path, Unread& why) {
  Result<FileState> state = stateOf(path);
  std::int64_t now = context_.environment.now();
  while (state && secondsUntilRested(*state, now, context_.restSeconds) > 0) {
    if (mustStop()) return std::nullopt;
    if (waitedSeconds_ >= context_.restSeconds) {
      why = {LedgerOutcome::postponed, kBeingWritten};
      return std::nullopt;
    }
    pause();
    waitedSeconds_ += std::max<std::int64_t>(0, context_.environment.now() - now);
    now = context_.environment.now();
    state = stateOf(path);
  }
  if (state) return *state;
  why = {LedgerOutcome::unreadable, state.error()};
  return std::nullopt;
}

/// The bytes of a file that was in this state before; absent, too, when it no longer is.
std::optional<std::string> MessageReader::readRested(const std::string& path,
                                                     const FileState& state, Unread& why) {
  Result<std::string> bytes = readFile(path);
  if (!bytes) {
    std::string_view reason = bytes.error();
    if (reason.starts_with(path + ": ")) reason.remove_prefix(path.size() + 2);
    why = {LedgerOutcome::unreadable, std::string(reason)};
    return std::nullopt;
  }
  const Result<FileState> after = stateOf(path);
  if (after && *after == state && bytes->size() == state.sizeBytes) return std::move(*bytes);
  why = {LedgerOutcome::postponed, kChanged};
  return std::nullopt;
}

Result<std::string> MessageReader::readPart(const std::string& path) {
  Unread why;
  const std::optional<FileState> state = rested(path, why);
  std::optional<std::string> bytes = state ? readRested(path, *state, why) : std::nullopt;
  if (bytes) return std::move(*bytes);
  return Failure{path + ": " + (why.outcome ? why.reason : "the run was ended")};
}

void MessageReader::pause() {
  if (context_.pause) return context_.pause();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

/// The turn of a message has come: what is to be told of it is told, and it is stored.
void MessageReader::deliver(PreparedMessage prepared, const std::string& mailbox) {
  guarded([&] {
    CurrentMessage& message = context_.message;
    prepared.message.msgMailto = std::move(message.msgMailto);
    prepared.message.currentPath = std::move(message.currentPath);
    message = std::move(prepared.message);
    message.msgMailbox = mailbox;
    if (prepared.isTooLarge) tellTooLarge();
    if (prepared.isDated) showProgress();
    if (prepared.thrown) std::rethrow_exception(prepared.thrown);
    if (prepared.refusal) {
      refuse(*prepared.refusal);
    } else {
      context_.storeEmail(static_cast<int>(message.msgParts.size()));
    }
    // A huge one would otherwise lie beside the next one while that is read.
    if (message.msgOriginal.size() > kLargeSourceBytes) {
      message.clearForNextMessage();
      message.origin = {};
    }
  });
}

void MessageReader::showProgress() {
  context_.progress.step(++context_.counters.progressCount,
                         context_.message.msgDate + ": " + context_.message.msgSubject);
}

std::string MessageReader::accountMailbox(const std::string& mailbox) const {
  for (const MailAccount& account : context_.plan.mailAccounts) {
    std::string_view id = account.path;
    for (char version = '2'; version <= '8'; ++version) {
      const std::string prefix = std::string("~/Library/Mail/V") + version + "/";
      if (id.starts_with(prefix)) id.remove_prefix(prefix.size());
    }
    const std::size_t at =
        id.empty() || account.name.empty() ? std::string::npos : mailbox.find(id);
    if (at != std::string::npos) return std::string(mailbox).replace(at, id.size(), account.name);
  }
  return mailbox;
}

void MessageReader::tellTooLarge() {
  if (context_.messageTooLarge) context_.messageTooLarge();
}

void MessageReader::refuseTooLong() {
  tellTooLarge();
  refuse({LedgerOutcome::failed, std::string(kTooLong)});
}

bool MessageReader::isDeletedInMaildir(const std::string& path) const {
  return context_.plan.leavesOutDeleted && hasEnvelopeLine_ && isMarkedDeletedByName(path);
}

void MessageReader::leaveOutDeleted(const std::string& path) {
  context_.ledger.beginMessage(path, std::nullopt);
  refuse({LedgerOutcome::markedDeleted, std::string(kMarkedDeleted)});
}

void MessageReader::refuse(const SourceReader::Refusal& refusal) {
  if (refusal.outcome == LedgerOutcome::failed) {
    context_.storeLog.write("Error: " + printable(refusal.reason) + ", " +
                            printable(context_.message.currentPath) + "\n");
  }
  context_.ledger.close(refusal.outcome, refusal.reason);
}

void MessageReader::tell(const std::string& path, const Unread& why) {
  if (!why.outcome) return;
  const bool isPostponed = *why.outcome == LedgerOutcome::postponed;
  context_.storeLog.write((isPostponed ? "Left for the next run: " : "Unable to read file: ") +
                          printable(path + ": " + why.reason) + "\n");
  if (isPostponed) {
    context_.ledger.recordPostponed(path, why.reason);
  } else {
    context_.ledger.recordUnreadable(path, why.reason);
  }
}

void MessageReader::noteReadToEnd(const FileState& state, bool canGrow) {
  if (context_.knownFiles != nullptr) context_.knownFiles->readToEnd(state, canGrow);
}

bool MessageReader::mustStop() const {
  return context_.process.cancelFlag != 0 || context_.progress.cancelled() ||
         (context_.isAbandoned && context_.isAbandoned());
}

void MessageReader::guarded(const std::function<void()>& work) {
  if (context_.guarded) {
    context_.guarded(work);
  } else {
    work();
  }
}

}  // namespace keldane
