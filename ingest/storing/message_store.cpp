#include "ingest/storing/message_store.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <memory>
#include <utility>

#include "archive/sql_values.h"
#include "archive/tag_row.h"
#include "base/text.h"
#include "ingest/reading/strip_plist.h"
#include "ingest/storing/attachment_rows.h"
#include "ingest/storing/duplicate_check.h"
#include "ingest/storing/tag_rules.h"

namespace keldane {
namespace {

/// Built in: a message that is known already gets the mailbox in which it was seen last, and the
/// tags of the rules.
constexpr bool kUpdateKnownMailbox = true;
constexpr bool kTagKnownMessages = true;

/// A message at which the server was lost in so many runs in a row is what the server is lost at:
/// it is too big for it. What is stored of it then stays, or no run would ever come past it.
constexpr unsigned kMostAttempts = 3;
/// For what of a message has arrived, when one host after the other does not tell.
constexpr int kMostLooks = 6;

using Arrived = CrashRecovery::Arrived;

constexpr int kStored = 1;
constexpr int kKnown = 2;

/// One field of the message in its escaped form, with the way back.
class EscapedField {
 public:
  explicit EscapedField(std::string& field) : field_(field) {
    if (field.find_first_of("\\\"") == std::string::npos) return;
    original_ = std::move(field);
    field = escapeInline(*original_);
  }
  void unescape() {
    if (!original_) return;
    field_ = std::move(*original_);
    original_.reset();
  }
  [[nodiscard]] const std::string& plain() const { return original_ ? *original_ : field_; }

 private:
  std::string& field_;
  std::optional<std::string> original_;
};

// Its row of `tags`.

/// False when the server refused the statement, as it does for a row that exists.
bool insertTagRow(ServerSession& session, const TagRow& row, StatementText& sql) {
  sql.start(insertTagSql(row));
  return session.query(sql.text());
}

bool updateTagRow(ServerSession& session, const TagRow& row, StatementText& sql) {
  sql.start("UPDATE tags SET cat_fld=").addQuoted(row.category);
  sql.add(",key_fld=").addQuoted(row.keywords);
  sql.add(",priority_fld=").addNumber(row.priority);
  sql.add(",notes_fld=").addQuoted(row.notes);
  sql.add(" WHERE id=").addNumber(row.id);
  return session.query(sql.text());
}

}  // namespace

/// The five header fields of the message, escaped from the duplicate test on, because the second
/// look of the rules sees them so. Mailbox and answer address come back with the object: the
/// messages of an mbox share them, and they must not be escaped once more for each.
class MessageStore::Fields {
 public:
  explicit Fields(CurrentMessage& message)
      : from(message.msgFrom),
        to(message.msgTo),
        subject(message.msgSubject),
        mailto(message.msgMailto),
        mailbox(message.msgMailbox) {}
  ~Fields() {
    mailto.unescape();
    mailbox.unescape();
  }
  Fields(const Fields&) = delete;
  Fields& operator=(const Fields&) = delete;

  /// All but the mailbox, which goes escaped into its row.
  void unescapeForRow() {
    from.unescape();
    to.unescape();
    subject.unescape();
    mailto.unescape();
  }

  EscapedField from;
  EscapedField to;
  EscapedField subject;
  EscapedField mailto;
  EscapedField mailbox;
};

MessageStore::MessageStore(Context context)
    : context_(std::move(context)),
      errors_(context_.session, context_.storeLog, context_.serverLost),
      fingerprints_({.session = context_.session,
                     .stripPlist =
                         [](std::string& source) {
                           MessageTags tags;
                           stripPlist(source, tags);
                         },
                     .declaredCharsets = [this] { return context_.plan.declaredCharsets; },
                     .readsOnly = context_.dry != nullptr}) {}

/// What is asked of the server once, before the first message.
void MessageStore::beginPass() {
  passBegun_ = true;
  if (context_.dry != nullptr && !context_.dry->hasArchive()) return;
  columns_ = readEmailColumns(context_.session);
  keepsFingerprints_ = fingerprints_.open();
  if (!keepsFingerprints_ && context_.dry == nullptr) errors_.note("SQL error: ");
}

void MessageStore::storeEmail(int partCount) {
  if (context_.moveOn && context_.repair != nullptr && context_.dry == nullptr) {
    storeOnHosts(partCount);
  } else {
    storeOnce(partCount);
  }
}

/// On the next host when one is lost, from the beginning: what of it has arrived by then is looked
/// for first, as after a run that was cut off.
void MessageStore::storeOnHosts(int partCount) {
  const CurrentMessage asRead = context_.message;
  RunCounters& counters = context_.counters;
  const int archived = counters.archivedCount;
  const int processed = counters.processedCount;
  for (unsigned tries = 1;; ++tries) {
    mayBegin_ = tries < kMostAttempts;
    mustBegin_ = false;
    storeOnce(partCount);
    if (!mustBegin_) break;
    if (!context_.moveOn()) {
      closeFailed(failedRow_);
      break;
    }
    if (context_.serverLost) context_.serverLost({});
    const Arrived arrived = lookOnHosts(context_.ledger.suspend());
    if (arrived == Arrived::whole) break;
    if (arrived == Arrived::refused) {
      // Stored again unseen, it might be there twice, or pass for known while it is a half.
      context_.ledger.leaveOpen(errors_.first(), false);
      break;
    }
    passBegun_ = false;  // what is asked of the server once may have got no answer
    counters.archivedCount = archived;
    counters.processedCount = processed;
    context_.message = asRead;
  }
}

/// What of the message has arrived, on the first host that tells; of a whole one its outcome is
/// told then.
CrashRecovery::Arrived MessageStore::lookOnHosts(const std::optional<OpenEntry>& entry) {
  if (!entry) return Arrived::nothing;
  std::uint32_t id = 0;
  Arrived arrived = context_.repair->lookAgain(*entry, id);
  for (int i = 1; i < kMostLooks && arrived == Arrived::refused && context_.moveOn(); ++i) {
    arrived = context_.repair->lookAgain(*entry, id);
  }
  if (arrived != Arrived::whole) return arrived;
  if (!entry->insertedId) countNewRow(id);
  context_.ledger.close(LedgerOutcome::archived, std::to_string(id));
  tellFeed(id, true);
  return arrived;
}

void MessageStore::storeOnce(int partCount) {
  CurrentMessage& message = context_.message;
  errors_.begin(message.currentPath);
  attempt_ = 1;
  hasRow_ = false;
  const RuleVerdict verdict = checkRules();
  if (verdict.exclude) {
    context_.ledger.close(LedgerOutcome::excluded, verdict.excludedBy);
    return;
  }
  // What the rules added goes: they add it again, once, when the message's fate is known.
  message.tags.tagKeywords = message.tags.tagKeywordsFromFile;
  message.bodyIsTrimmed = true;
  Fields fields(message);
  ++context_.counters.processedCount;
  if (!passBegun_) beginPass();
  const Known known = findKnown(fields, partCount);
  if (known.failed) {
    closeFailed(std::nullopt);
  } else if (known.isHalf) {
    completeHalf(fields, partCount, known.id);
  } else if (known.id != 0) {
    storeKnown(known.id);
  } else {
    storeNew(fields, partCount, known.differsFrom);
  }
}

RuleVerdict MessageStore::checkRules() {
  return checkTagRules(context_.plan.tagRulesList, context_.message);
}

MessageStore::Known MessageStore::findKnown(const Fields& fields, int partCount) {
  const CurrentMessage& message = context_.message;
  CrashRecovery* repair = context_.repair;
  if (repair != nullptr && repair->hasHalves()) {
    const auto half = repair->halfOf(valuesOf(fields, partCount), makeMark(fields, partCount));
    if (!half) return notFoundOut();
    if (*half != 0) return {.id = *half, .isHalf = true};
  }
  if (context_.plan.settings.skipDupsState != 0) return {};
  if (context_.dry != nullptr && !context_.dry->hasArchive()) return {};
  const DuplicateKey key{message.msgDate, fields.to.plain(), fields.from.plain(), message.body()};
  const DuplicateAnswer test = findDuplicate(context_.session, key, columns_, sql_, errors_);
  if (test.condition.empty()) return {};
  Known known{.id = test.id};
  if (context_.plan.keepDiffering && !message.contentSha256.empty()) {
    const Fingerprints::Look look =
        fingerprints_.find(test.condition, {fingerprint(), message.msgOriginal}, test.id);
    // Passed over unseen, the message might be lost with its file.
    if (look.match == Fingerprints::Match::refused) return notFoundOut();
    known.id = look.id;
    if (look.match == Fingerprints::Match::different) known.differsFrom = test.id;
  }
  if (known.id != 0 && repair != nullptr && repair->isSuspect(known.id)) {
    const auto half =
        repair->isHalf(known.id, valuesOf(fields, partCount), makeMark(fields, partCount));
    if (!half) return notFoundOut();
    known.isHalf = *half;
  }
  return known;
}

MessageStore::Known MessageStore::notFoundOut() {
  errors_.fail("SQL error: ");
  return {.failed = true};
}

// What would become of the message.

void MessageStore::tellKnown(const std::string& detail) {
  const RuleVerdict verdict = checkRules();
  if (verdict.exclude) {
    context_.ledger.close(LedgerOutcome::excluded, verdict.excludedBy);
  } else {
    context_.ledger.close(LedgerOutcome::duplicate, detail);
  }
}

void MessageStore::tellNew(Fields& fields, std::uint32_t differsFrom) {
  const CurrentMessage& message = context_.message;
  std::string detail;
  if (differsFrom != 0) detail = "differs from " + std::to_string(differsFrom);
  if (context_.plan.settings.skipDupsState == 0) {
    const DuplicateKey key{message.msgDate, fields.to.plain(), fields.from.plain(), message.body()};
    const std::string_view content =
        context_.plan.keepDiffering ? std::string_view(message.contentSha256) : std::string_view();
    const DryStore::Earlier earlier = context_.dry->find(key, content);
    if (earlier.isSame) return tellKnown("the same as in " + earlier.path);
    if (earlier.differs && detail.empty()) detail = "differs from one in " + earlier.path;
    if (!sourceFits()) return closeFailed(std::nullopt);
    context_.dry->add(key, content, message.currentPath);
  } else if (!sourceFits()) {
    return closeFailed(std::nullopt);
  }
  fields.unescapeForRow();
  const RuleVerdict verdict = checkRules();
  if (verdict.exclude) {
    context_.ledger.close(LedgerOutcome::excluded, verdict.excludedBy);
  } else {
    context_.ledger.close(LedgerOutcome::archived, detail);
  }
}

// A message that is known already.

void MessageStore::storeKnown(std::uint32_t id) {
  if (context_.dry != nullptr) return tellKnown(std::to_string(id));
  CurrentMessage& message = context_.message;
  if (kUpdateKnownMailbox && !updateMailbox(id)) {
    closeFailed(id);
    return;
  }
  if (kTagKnownMessages) {
    const RuleVerdict verdict = checkRules();
    if (verdict.exclude) {
      context_.ledger.close(LedgerOutcome::excluded, verdict.excludedBy);
      return;
    }
    if (message.tags.any()) tagKnown(id);
    if (mayBegin_ && errors_.lost()) return closeFailed(id);
  }
  context_.duplicateLogText.append(printable(message.msgDate))
      .append(": from ")
      .append(printable(message.msgFrom))
      .append(" to ")
      .append(printable(message.msgTo))
      .append(", ")
      .append(printable(message.msgSubject))
      .append(", ")
      .append(printable(message.msgMailbox))
      .append("\n");
  ++context_.counters.duplicateCount;
  --context_.counters.progressCount;
  storeOutcome_ = kKnown;
  context_.ledger.close(LedgerOutcome::duplicate, std::to_string(id));
}

bool MessageStore::updateMailbox(std::uint32_t id) {
  ServerSession& session = context_.session;
  const std::string& mailbox = context_.message.msgMailbox;
  sql_.start("SELECT id FROM email WHERE mailbox LIKE \"%").add(mailbox);
  sql_.add("%\" AND id=").addNumber(id);
  if (!session.query(sql_.text())) {
    errors_.noteInSystemLog("SQL error: ");
  } else if (fetchFirstCell(session) == std::to_string(id)) {
    return true;
  }

  constexpr std::string_view kError = "SQL error updating mailbox:";
  const std::unique_ptr<Statement> statement = session.makeStatement();
  if (!statement) return errors_.fail("SQL error:");
  sql_.start("UPDATE email SET mailbox=? WHERE id=").addNumber(id);
  const std::array<BoundValue, 1> values = {BoundValue{upToNul(mailbox)}};
  if (runStatement(*statement, sql_.text(), values) != Ran::done) return errors_.fail(kError);
  if (!statement->close()) return errors_.fail(kError);
  if (context_.feed != nullptr) context_.feed->moved(id, mailbox);
  return true;
}

void MessageStore::tagKnown(std::uint32_t id) {
  const TagRow row = tagRowOfKnown(id, context_.message.tags);
  if (insertTagRow(context_.session, row, sql_)) return;
  // Most likely the message has tags already.
  if (!updateTagRow(context_.session, row, sql_)) errors_.note("SQL error:");
}

// A new message.

void MessageStore::storeNew(Fields& fields, int partCount, std::uint32_t differsFrom) {
  if (context_.dry != nullptr) return tellNew(fields, differsFrom);
  if (!sourceFits()) {
    closeFailed(std::nullopt);
    return;
  }
  const ExpectedRows mark = makeMark(fields, partCount);
  fields.unescapeForRow();
  const std::optional<std::uint32_t> id = insertRow(mark, numAttachOf(partCount));
  if (!id) {
    closeFailed(std::nullopt);
    return;
  }
  countNewRow(*id);
  storeRest(*id, partCount, false, differsFrom);
}

/// Whether the server takes a statement with the source in it: else no row is made that would stay
/// without one.
bool MessageStore::sourceFits() {
  constexpr std::size_t kRestOfStatement = 100;
  const std::size_t most = context_.session.largestStatementBytes();
  const std::string& source = context_.message.msgOriginal;
  if (context_.plan.settings.origState == 0 || source.size() < most / 2 - kRestOfStatement)
    return true;
  const auto escaped =
      std::count_if(source.begin(), source.end(), [](char c) { return c == '\\' || c == '"'; });
  const std::size_t bytes = source.size() + static_cast<std::size_t>(escaped) + kRestOfStatement;
  if (bytes <= most) return true;
  return errors_.failForGood(
      "Error: ", "the message has " + std::to_string(source.size()) +
                     " bytes, more than the server takes; raise its max_allowed_packet (" +
                     std::to_string(most) + ")");
}

/// The row stays, with what the user has made of it since; all else is written anew.
void MessageStore::completeHalf(Fields& fields, int partCount, std::uint32_t id) {
  ExpectedRows mark = makeMark(fields, partCount);
  mark.attempt = attempt_ = context_.repair->attemptAt(id);
  fields.unescapeForRow();
  context_.ledger.open(mark);
  noteRow(id);
  context_.repair->takeOver(id, context_.message.currentPath);
  if (kUpdateKnownMailbox && !updateMailbox(id)) {
    closeFailed(id);
  } else if (!context_.repair->clearParts(id)) {
    errors_.fail("SQL error: ");
    closeFailed(id);
  } else {
    storeRest(id, partCount, true, 0);
  }
}

/// Everything behind the row of `email`.
void MessageStore::storeRest(std::uint32_t id, int partCount, bool wasHalf,
                             std::uint32_t differsFrom) {
  // Before the rules: a row that stays without a source is known again by its fingerprint.
  writeFingerprint(id);
  const RuleVerdict verdict = checkRules();
  if (verdict.exclude) {
    // A rule that fires only now, on the text as it is stored, leaves the row without a source.
    context_.ledger.close(LedgerOutcome::excluded, verdict.excludedBy);
    return;
  }
  ++context_.counters.archivedCount;
  if (context_.message.tags.any() && !insertTags(id, wasHalf)) {
    closeFailed(id);
    return;
  }
  if (context_.plan.settings.origState != 0) {
    if (!insertSource(id)) {
      closeFailed(id);
      return;
    }
    updateHeadings(id);
    storeParts(id, partCount);
  }
  updateAttachmentInformation(id);
  if (errors_.failed()) {
    closeFailed(id);
    return;
  }
  std::string detail = std::to_string(id);
  if (differsFrom != 0) detail += ", differs from " + std::to_string(differsFrom);
  context_.ledger.close(LedgerOutcome::archived, detail);
  tellFeed(id, wasHalf);
}

void MessageStore::tellFeed(std::uint32_t id, bool wasHalf) {
  if (context_.feed == nullptr) return;
  // Of one that was half stored the tags may be the user's own, and others may have read it.
  if (wasHalf) return context_.feed->completed(id);
  const CurrentMessage& message = context_.message;
  context_.feed->stored(id, message, tagRow(id, message.tags),
                        context_.plan.settings.origState != 0);
}

Fingerprint MessageStore::fingerprint() const {
  const CurrentMessage& message = context_.message;
  const SourceOrigin& origin = message.origin;
  return {.sourceSha256 = origin.sha256,
          .contentSha256 = message.contentSha256,
          .sizeBytes = origin.sizeBytes,
          .encoding = origin.encoding,
          .lineEnds = static_cast<int>(origin.lineEnds),
          .path = origin.path,
          .offsetBytes = origin.offsetBytes,
          .exactBytes = origin.exactBytes ? &*origin.exactBytes : nullptr};
}

void MessageStore::writeFingerprint(std::uint32_t id) {
  if (!keepsFingerprints_) return;
  // Only a help: a message that has none is as good as stored.
  if (!fingerprints_.write(id, fingerprint())) errors_.note("SQL error: ");
}

int MessageStore::numAttachOf(int partCount) const {
  return context_.message.attachmentCount(partCount);
}

EmailValues MessageStore::valuesOf(const Fields& fields, int partCount) const {
  const CurrentMessage& message = context_.message;
  return {fields.from.plain(), fields.to.plain(), fields.subject.plain(), fields.mailto.plain(),
          message.msgMailbox,  message.body(),    numAttachOf(partCount)};
}

ExpectedRows MessageStore::makeMark(const Fields& fields, int partCount) const {
  const CurrentMessage& message = context_.message;
  const auto count = static_cast<std::size_t>(std::max(partCount, 0));
  const bool withSource = context_.plan.settings.origState != 0;
  ExpectedRows mark;
  mark.fingerprint = fingerprintOf(valuesOf(fields, partCount));
  mark.afterId = context_.ledger.greatestId();
  mark.msgDate = message.msgDate;
  mark.withSource = withSource;
  mark.attachTextBytes = message.msgAttachText.size();
  if (withSource) {
    mark.headingsBytes = message.msgHeadings.size();
    mark.partCount = storableParts(message.msgParts, count);
    mark.attachNamesBytes = attachNamesOf(message.msgParts, count).size();
  }
  return mark;
}

bool MessageStore::reconnect() {
  return errors_.serverHasGoneAway() && context_.doConnect && context_.doConnect();
}

std::optional<std::uint32_t> MessageStore::insertRow(const ExpectedRows& mark, int numAttach) {
  const CurrentMessage& message = context_.message;
  for (;;) {
    const std::unique_ptr<Statement> statement = context_.session.makeStatement();
    if (!statement) {
      if (reconnect()) continue;
      errors_.fail("SQL error:");
      return std::nullopt;
    }
    sql_.start(
        "INSERT INTO email (date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach) "
        "VALUES(");
    sql_.addQuoted(message.msgDate, '\n').add(",?,?,?,?,?,?,").addNumber(numAttach).add(")");
    const std::array<BoundValue, 6> values = {
        BoundValue{upToNul(message.msgFrom)},    BoundValue{upToNul(message.msgTo)},
        BoundValue{upToNul(message.msgSubject)}, BoundValue{upToNul(message.msgMailto)},
        BoundValue{upToNul(message.msgMailbox)}, BoundValue{upToNul(message.body())}};
    const Ran ran = runStatement(*statement, sql_.text(), values,
                                 [this, &mark] { context_.ledger.open(mark); });
    if (ran == Ran::refusedValues && reconnect()) continue;
    if (ran == Ran::refused) return insertAsText(numAttach);
    if (ran != Ran::done) {
      errors_.fail(ran == Ran::refusedText ? "SQL error:" : "SQL error1:");
      return std::nullopt;
    }
    const auto id = static_cast<std::uint32_t>(context_.session.insertId());
    noteRow(id);
    if (!statement->close()) {
      errors_.fail("SQL error4:");
      return std::nullopt;
    }
    return id;
  }
}

std::optional<std::uint32_t> MessageStore::insertAsText(int numAttach) {
  const CurrentMessage& message = context_.message;
  std::string mailbox(upToNul(message.msgMailbox));
  removeAll(mailbox, "\n");
  sql_.start(
      "INSERT INTO email (date_fld,from_fld,to_fld,subj_fld,mailto,mailbox,body_fld,numAttach) "
      "VALUES(");
  sql_.addQuoted(message.msgDate, '\n').add(",");
  sql_.addQuoted(upToNul(message.msgFrom), '\n').add(",");
  sql_.addQuoted(upToNul(message.msgTo), '\n').add(",");
  sql_.addQuoted(upToNul(message.msgSubject), '\n').add(",");
  sql_.addQuoted(upToNul(message.msgMailto), '\n').add(",");
  // The mailbox is escaped already.
  sql_.add("\"").add(mailbox).add("\",");
  // The stored body loses its line ends with those of the statement.
  sql_.addQuoted(upToNul(message.body()), '\n').add(",").addNumber(numAttach).add(")");
  if (!context_.session.query(sql_.text())) {
    errors_.fail("SQL Error3: ");
    return std::nullopt;
  }
  const auto id = static_cast<std::uint32_t>(context_.session.insertId());
  noteRow(id);
  return id;
}

void MessageStore::noteRow(std::uint32_t id) {
  hasRow_ = true;
  context_.ledger.recordRow(id);
}

void MessageStore::countNewRow(std::uint32_t id) {
  RunCounters& counters = context_.counters;
  counters.lastInsertId = id;
  counters.firstStoredId = std::min(counters.firstStoredId, id);
  counters.lastStoredId = std::max(counters.lastStoredId, id);
}

bool MessageStore::insertTags(std::uint32_t id, bool wasHalf) {
  if (wasHalf) {
    // Those that the row has already may be the user's own.
    sql_.start("SELECT COUNT(id) FROM tags WHERE id=").addNumber(id);
    if (!context_.session.query(sql_.text())) return errors_.fail("SQL error: ");
    if (fetchFirstCell(context_.session) != "0") return true;
  }
  if (insertTagRow(context_.session, tagRow(id, context_.message.tags), sql_)) return true;
  return errors_.fail("SQL error: ");
}

bool MessageStore::insertSource(std::uint32_t id) {
  sql_.start("INSERT INTO origemail (id,orig_fld) VALUES(").addNumber(id).add(",");
  sql_.addQuoted(context_.message.msgOriginal, '\0').add(")");
  if (context_.session.query(sql_.text())) return true;
  return errors_.fail("SQL error8: ");
}

void MessageStore::updateHeadings(std::uint32_t id) {
  sql_.start("UPDATE email SET headings=").addQuoted(context_.message.msgHeadings);
  sql_.add(" WHERE id=").addNumber(id);
  if (!context_.session.query(sql_.text())) errors_.fail("SQL error: ");
}

void MessageStore::storeParts(std::uint32_t id, int partCount) {
  CurrentMessage& message = context_.message;
  const auto count =
      std::min(static_cast<std::size_t>(std::max(partCount, 0)), message.msgParts.size());
  for (std::size_t i = 0; i < count; ++i) {
    try {
      doAttachment(context_.session, id, message.msgParts[i], message.msgAttachNames, sql_,
                   errors_);
    } catch (const std::exception& error) {
      std::cerr << "doAttachment error: " << printable(message.msgDate)
                << "::" << printable(message.msgFrom) << "::" << printable(message.msgTo) << "\n";
      errors_.remember(error.what());
    }
  }
}

void MessageStore::updateAttachmentInformation(std::uint32_t id) {
  constexpr std::string_view kError = "SQL error updating attachments information:";
  const CurrentMessage& message = context_.message;
  const std::unique_ptr<Statement> statement = context_.session.makeStatement();
  if (!statement) {
    errors_.failWithoutLabel(kError);
    return;
  }
  sql_.start("UPDATE email SET attachNames=?,attachText=? WHERE id=").addNumber(id);
  const std::array<BoundValue, 2> values = {BoundValue{message.msgAttachNames},
                                            BoundValue{message.msgAttachText}};
  if (runStatement(*statement, sql_.text(), values) != Ran::done || !statement->close()) {
    errors_.fail(kError);
    return;
  }
  storeOutcome_ = kStored;
}

/// Whether the next run is to see to the message: its row exists, or may, and it is not whole. One
/// that costs the server run after run is given up, or nothing behind it would ever be read.
bool MessageStore::staysOpen() const {
  if (!context_.ledger.isOpen() || !errors_.worthAnotherTry()) return false;
  return errors_.lost() ? attempt_ < kMostAttempts : hasRow_;
}

void MessageStore::closeFailed(std::optional<std::uint32_t> id) {
  if (std::exchange(mayBegin_, false) && errors_.lost()) {
    mustBegin_ = true;
    failedRow_ = id;
    return;
  }
  std::string detail;
  if (id) detail = "row " + std::to_string(*id) + ": ";
  detail += errors_.first();
  if (staysOpen()) {
    context_.ledger.leaveOpen(detail, !errors_.lost());
  } else {
    context_.ledger.close(LedgerOutcome::failed, detail);
  }
}

}  // namespace keldane
