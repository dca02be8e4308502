#include "verify/message_check.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "base/sha256.h"
#include "base/text.h"
#include "ingest/storing/attachment_rows.h"
#include "ingest/storing/statement_text.h"

namespace keldane {
namespace {

using mime::SourceEncoding;

/// By these the choices are known that the settings left when a message was stored.
constexpr std::array<std::string_view, 3> kAttachmentColumns = {"numAttach", "attachNames",
                                                                "attachText"};
/// No more limits of size are tried; whoever has more attachments of different sizes in one
/// message, and left some out, is told of each.
constexpr std::size_t kMostLimits = 16;
constexpr std::int64_t kWidestZoneSeconds = 26 * 3600;
constexpr std::int64_t kZoneStepSeconds = 15 * 60;

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

std::string withoutNuls(std::string text) {
  removeAll(text, std::string_view("\0", 1));
  return text;
}

/// What every server keeps of a text, whatever its character set.
std::string asciiOf(std::string_view text) {
  std::string ascii;
  std::copy_if(text.begin(), text.end(), std::back_inserter(ascii),
               [](char c) { return static_cast<unsigned char>(c) < 0x80 && c != '?'; });
  return ascii;
}

bool fitsRoom(const std::string& held, std::string_view wanted, const ColumnRoom& room) {
  if (!room.conversionStart.empty()) return asciiOf(held) == asciiOf(wanted);
  return held == wanted || held == room.cut(wanted);
}

std::optional<std::int64_t> secondsOf(const std::string& date) {
  std::tm moment = {};
  int read = 0;
  const int fields =
      std::sscanf(date.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &moment.tm_year, &moment.tm_mon,
                  &moment.tm_mday, &moment.tm_hour, &moment.tm_min, &moment.tm_sec, &read);
  if (fields != 6 || static_cast<std::size_t>(read) != date.size()) return std::nullopt;
  moment.tm_year -= 1900;
  moment.tm_mon -= 1;
  return ::timegm(&moment);
}

/// Dates are stored as the clock of the machine showed them that archived the message: one in
/// another time zone reads the same message some quarters of an hour apart.
bool isSameMoment(const std::string& held, const std::string& wanted) {
  if (held == wanted) return true;
  const auto expected = secondsOf(wanted);
  // The text of a date that nobody could read is the server's to convert.
  if (!expected) return true;
  const auto there = secondsOf(held);
  if (!there) return false;
  const std::int64_t apart = std::abs(*there - *expected);
  return apart <= kWidestZoneSeconds && apart % kZoneStepSeconds == 0;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kShown = 60;
  std::string shown = printable(text.substr(0, kShown));
  if (text.size() > kShown) shown += "...";
  return "\"" + shown + "\"";
}

bool isOfAttachments(const Finding& finding) {
  return finding.kind == FaultKind::attachment ||
         std::find(kAttachmentColumns.begin(), kAttachmentColumns.end(), finding.column) !=
             kAttachmentColumns.end();
}

bool endsInHtml(std::string_view name) {
  constexpr std::string_view kEnding = "html";
  return name.size() >= kEnding.size() &&
         compareNoCase(name.substr(name.size() - kEnding.size()), kEnding) == 0;
}

}  // namespace

MessageCheck::MessageCheck(ServerSession& session, Environment& environment)
    : session_(session),
      reader_(
          {.message = wanted_, .plan = plan_, .environment = environment, .partial = noParts_}) {
  // A message that is stored passed the limits of its run, whatever they were. Beside them a text
  // that is no date passes as well; an empty one must not, so that the stamp is looked at.
  plan_.range.rangeStartText = "!";
  plan_.range.rangeEndText = "\x7f";
}

Result<void> MessageCheck::begin() {
  emailRooms_ = readColumnRooms(session_, "email");
  attachmentRooms_ = readColumnRooms(session_, "attachments");
  if (emailRooms_.empty() || attachmentRooms_.empty()) return Failure{session_.error()};
  if (!session_.query("SELECT COUNT(*) FROM information_schema.tables WHERE "
                      "table_schema=DATABASE() AND table_name='keldane_fingerprints'")) {
    return Failure{session_.error()};
  }
  hasFingerprints_ = fetchFirstCell(session_) != "0";
  return {};
}

void MessageCheck::add(FaultKind kind, std::string what, bool canMend) {
  findings_.push_back({.kind = kind, .what = std::move(what), .canMend = canMend});
}

Result<bool> MessageCheck::check(std::uint32_t id) {
  findings_.clear();
  Result<StoredMessage> stored = loadStoredMessage(session_, id, hasFingerprints_);
  if (!stored) return Failure{stored.error()};
  stored_ = std::move(*stored);
  const bool isThere =
      stored_.hasRow || stored_.source || stored_.fingerprint || !stored_.attachments.empty();
  if (isThere && settleSource()) compareWays();
  return isThere;
}

// The source.

bool MessageCheck::isStub() const { return holds(origin_.path, "partial"); }

void MessageCheck::readOrigin() {
  origin_ = {};
  ownText_.reset();
  isProved_ = false;
  isBare_ = false;
  if (!stored_.fingerprint) return;
  const StoredMessage::Fingerprint& print = *stored_.fingerprint;
  origin_.sha256 = print.sourceSha256;
  origin_.sizeBytes = print.sizeBytes;
  const bool isLatin1 = print.encoding == static_cast<int>(SourceEncoding::latin1);
  origin_.encoding = isLatin1 ? SourceEncoding::latin1 : SourceEncoding::utf8;
  origin_.lineEnds = static_cast<LineEnds>(print.lineEnds);
  origin_.path = print.path;
  origin_.offsetBytes = print.offsetBytes;
}

/// Whether there is a source that can be gone by.
bool MessageCheck::settleSource() {
  readOrigin();
  const auto& print = stored_.fingerprint;
  if (print && print->packedBytes) {
    Result<std::string> bytes = unpackedBytes(*print->packedBytes, print->sizeBytes);
    if (bytes && sha256(*bytes) == print->sourceSha256) {
      origin_.exactBytes = std::move(*bytes);
      if (!isStub()) return settleByKeptBytes(*origin_.exactBytes);
    } else {
      add(FaultKind::fingerprint, "the bytes kept of its file are damaged", false);
      return false;
    }
  }
  if (!stored_.source) {
    const bool isEmpty = stored_.column("headings").empty() &&
                         stored_.column("attachNames").empty() &&
                         stored_.column("attachText").empty() && stored_.attachments.empty();
    // A rule that fires late leaves a row like this.
    isBare_ = stored_.hasRow && isEmpty;
    if (!isBare_ && stored_.hasRow) add(FaultKind::source, "its source is missing", false);
    return false;
  }
  return settleByText();
}

bool MessageCheck::settleByKeptBytes(const std::string& bytes) {
  for (const SourceEncoding encoding :
       {origin_.encoding,
        origin_.encoding == SourceEncoding::utf8 ? SourceEncoding::latin1 : SourceEncoding::utf8}) {
    std::string text = bytes;
    static_cast<void>(takeText(text, encoding));
    // As a run takes a message out of a file of many.
    while (origin_.offsetBytes && text.ends_with('\0')) text.pop_back();
    const bool isStored = stored_.source && *stored_.source == withoutNuls(text);
    if (encoding != origin_.encoding && !isStored) break;
    if (encoding != origin_.encoding) {
      findings_.clear();
      add(FaultKind::fingerprint, "its noted encoding is not that of its bytes", true);
      origin_.encoding = encoding;
    } else if (!isStored) {
      add(FaultKind::source,
          stored_.source ? "its source is not what was read" : "its source is missing", true);
    }
    ownText_ = std::move(text);
    if (isStored) break;
  }
  isProved_ = true;
  return true;
}

bool MessageCheck::settleByText() {
  const std::string& source = *stored_.source;
  if (isStub() && origin_.exactBytes) return true;
  if (origin_.sha256.empty()) {
    // Not known, as of an old archive, or no longer: then the size is still there.
    const std::string bytes = restoredBytes(source, origin_);
    if (origin_.sizeBytes == 0) return true;
    add(FaultKind::fingerprint, "the digest of its bytes is missing",
        bytes.size() == origin_.sizeBytes);
    if (bytes.size() == origin_.sizeBytes) origin_.sha256 = sha256(bytes);
    return true;
  }
  const SourceOrigin noted = origin_;
  for (const SourceEncoding encoding :
       {noted.encoding, SourceEncoding::utf8, SourceEncoding::latin1}) {
    for (const LineEnds ends : {noted.lineEnds, LineEnds::lf, LineEnds::crlf, LineEnds::cr}) {
      origin_.encoding = encoding;
      origin_.lineEnds = ends;
      const std::string bytes = restoredBytes(source, origin_);
      if (sha256(bytes) != noted.sha256) continue;
      isProved_ = true;
      const bool isNoted = encoding == noted.encoding && ends == noted.lineEnds;
      if (!isNoted || bytes.size() != noted.sizeBytes) {
        origin_.sizeBytes = bytes.size();
        add(FaultKind::fingerprint, "size, encoding or line ends of its bytes are noted wrongly",
            true);
      }
      return true;
    }
  }
  origin_ = noted;
  add(FaultKind::source, "its source does not give back the bytes that were read", false);
  return false;
}

std::string MessageCheck::wantedSource() const {
  return withoutNuls(ownText_ ? *ownText_ : stored_.source.value_or(""));
}

// What the source gives.

void MessageCheck::compareWays() {
  Way best;
  std::optional<Way> last;
  std::optional<std::vector<Finding>> least;
  const auto consider = [&](const std::vector<Way>& ways) {
    for (const Way& way : ways) {
      if (least && least->empty()) return;
      std::vector<Finding> found = compare(way);
      last = way;
      if (least && found.size() >= least->size()) continue;
      least = std::move(found);
      best = way;
    }
  };
  consider(waysOfReading());
  if (std::any_of(least->begin(), least->end(), isOfAttachments)) {
    static_cast<void>(compare(best));
    consider(waysOfKeeping(best));
  }
  // What is wanted is that of the way that was taken.
  if (last != best) least = compare(best);
  findings_.insert(findings_.end(), least->begin(), least->end());
}

std::vector<MessageCheck::Way> MessageCheck::waysOfReading() const {
  const auto& print = stored_.fingerprint;
  if (!print || !print->encoding) {
    return {{.encoding = SourceEncoding::utf8},
            {.encoding = SourceEncoding::latin1},
            {.encoding = SourceEncoding::latin1, .declaredCharsets = false}};
  }
  std::vector<Way> ways;
  for (const bool declared : {true, false}) {
    // A row of an older reading does not tell which of the two it was.
    const bool isOther = print->reading == fingerprintReading(origin_.encoding, !declared);
    if (origin_.encoding == SourceEncoding::latin1 ? !isOther : declared) {
      ways.push_back({.encoding = origin_.encoding, .declaredCharsets = declared});
    }
  }
  return ways;
}

/// The ways in which attachments may have been left out; `wanted_` has them all.
std::vector<MessageCheck::Way> MessageCheck::waysOfKeeping(const Way& reading) const {
  std::vector<Way> ways(2, reading);
  ways[0].wereDeleted = true;
  ways[1].keepsAttachments = false;
  std::set<double, std::greater<>> sizes;
  for (const MessagePart& part : wanted_.msgParts)
    sizes.insert(static_cast<double>(part.data.size()));
  for (const double size : sizes) {
    if (ways.size() >= kMostLimits) break;
    ways.push_back(reading);
    ways.back().mostBytes = size;
  }
  return ways;
}

std::vector<Finding> MessageCheck::compare(const Way& way) {
  plan_.declaredCharsets = way.declaredCharsets;
  plan_.settings.attachState = way.keepsAttachments ? 1 : 0;
  plan_.settings.largeAttachState = way.mostBytes ? 1 : 0;
  plan_.attachSizeBytes = way.mostBytes.value_or(0);
  wanted_.clearForNextMessage();
  wanted_.msgMailto.clear();
  wanted_.msgOriginal = ownText_ ? *ownText_ : *stored_.source;
  wanted_.origin = origin_;
  wanted_.origin.exactBytes.reset();
  wanted_.origin.encoding = way.encoding;
  const std::string mailbox = stored_.hasRow ? stored_.column("mailbox") : origin_.path;
  if (const auto refusal = reader_.fill(mailbox, false)) {
    return {
        {.kind = FaultKind::source, .what = "its source cannot be read again: " + refusal->reason}};
  }
  wanted_.bodyIsTrimmed = true;
  fillWantedColumns();
  if (way.wereDeleted) leaveOutDeleted();
  std::vector<Finding> found;
  compareRows(found);
  compareFingerprint(found);
  return found;
}

void MessageCheck::fillWantedColumns() {
  const std::vector<MessagePart>& parts = wanted_.msgParts;
  const int count = static_cast<int>(parts.size());
  wantedColumns_ = {{"date_fld", wanted_.msgDate},
                    {"from_fld", std::string(upToNul(wanted_.msgFrom))},
                    {"to_fld", std::string(upToNul(wanted_.msgTo))},
                    {"subj_fld", std::string(upToNul(wanted_.msgSubject))},
                    {"mailto", std::string(upToNul(wanted_.msgMailto))},
                    {"mailbox", wanted_.msgMailbox},
                    {"body_fld", std::string(upToNul(wanted_.body()))},
                    {"numAttach", std::to_string(wanted_.attachmentCount(count))},
                    {"attachNames", attachNamesOf(parts, parts.size())},
                    {"attachText", wanted_.msgAttachText},
                    {"headings", wanted_.msgHeadings}};
}

/// What stays when a user deletes the attachments of a message.
void MessageCheck::leaveOutDeleted() {
  std::erase_if(wanted_.msgParts,
                [](const MessagePart& part) { return !endsInHtml(part.fileName); });
  wantedColumns_["numAttach"] = "0";
  wantedColumns_["attachNames"].clear();
  wantedColumns_["attachText"].clear();
}

const std::string& MessageCheck::wantedColumn(std::string_view name) const {
  return wantedColumns_.find(name)->second;
}

void MessageCheck::compareRows(std::vector<Finding>& found) const {
  if (!stored_.hasRow) {
    found.push_back({.kind = FaultKind::row, .what = "its row is missing", .canMend = true});
  } else {
    compareColumns(found);
  }
  compareAttachments(found);
}

bool MessageCheck::fits(std::string_view column, const std::string& wanted) const {
  const std::string& held = stored_.column(column);
  if (held == wanted) return true;
  if (column == "date_fld") return isSameMoment(held, wanted);
  const auto room = emailRooms_.find(column);
  if (room != emailRooms_.end() && fitsRoom(held, wanted, room->second)) return true;
  std::string other = wanted;
  // A server that refused the body as a parameter got it without line ends.
  if (column == "body_fld") removeAll(other, "\n");
  // A Maildir's file may begin with a line that is no header.
  if (column == "headings" && wanted.starts_with("From ")) {
    other.erase(0, std::min(wanted.find('\n'), wanted.size() - 1) + 1);
  }
  return held == other;
}

void MessageCheck::compareColumns(std::vector<Finding>& found) const {
  for (const auto& [name, wanted] : wantedColumns_) {
    // These are no part of the source.
    if (name == "mailbox" || name == "mailto") continue;
    const bool isOfParts = std::find(kAttachmentColumns.begin(), kAttachmentColumns.end(), name) !=
                           kAttachmentColumns.end();
    // Parts that lay beside a stub's file are no part of its source.
    if ((isOfParts && isStub()) || fits(name, wanted)) continue;
    found.push_back({.kind = FaultKind::column,
                     .what = fmt::format("{} is {}, and by its source {}", name,
                                         quoted(stored_.column(name)), quoted(wanted)),
                     .canMend = true,
                     .column = name});
  }
}

void MessageCheck::compareAttachments(std::vector<Finding>& found) const {
  const std::vector<StoredMessage::Attachment>& rows = stored_.attachments;
  std::vector<bool> isTaken(rows.size(), false);
  const auto roomOf = [this](std::string_view column) {
    const auto room = attachmentRooms_.find(column);
    return room == attachmentRooms_.end() ? ColumnRoom() : room->second;
  };
  const ColumnRoom names = roomOf("filename_fld");
  const ColumnRoom types = roomOf("type_fld");
  struct Wanted {
    std::size_t part;
    std::string name, sha256;
  };
  std::vector<Wanted> missing;
  const auto take = [&](const Wanted& wanted, bool isWhole) {
    const MessagePart& part = wanted_.msgParts[wanted.part];
    std::string type = part.contentType;
    removeAll(type, "\n");
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (isTaken[i]) continue;
      const bool sameName = fitsRoom(rows[i].name, wanted.name, names);
      const bool sameBytes = rows[i].sha256 == wanted.sha256;
      // A type goes into its statement as it stands, backslashes and all.
      const bool sameType = holds(type, "\\") || fitsRoom(rows[i].type, type, types);
      const bool sameSize =
          rows[i].declaredBytes == rows[i].sizeBytes || rows[i].declaredBytes == 0;
      if (isWhole ? !(sameName && sameBytes && sameType && sameSize) : !(sameName || sameBytes)) {
        continue;
      }
      isTaken[i] = true;
      return i;
    }
    return Finding::kNone;
  };
  for (std::size_t i = 0; i < wanted_.msgParts.size(); ++i) {
    const MessagePart& part = wanted_.msgParts[i];
    if (!canQuoteAsItStands(part.contentType)) continue;
    Wanted wanted{i, std::string(upToNul(attachmentRowName(part.fileName))), sha256(part.data)};
    if (take(wanted, true) == Finding::kNone) missing.push_back(std::move(wanted));
  }
  for (const Wanted& wanted : missing) {
    const std::size_t row = take(wanted, false);
    found.push_back({.kind = FaultKind::attachment,
                     .what = fmt::format("attachment {} {}", quoted(wanted.name),
                                         row == Finding::kNone ? "is missing" : "is changed"),
                     .canMend = true,
                     .part = wanted.part,
                     .row = row});
  }
  // Of a message whose file is not known, its parts may have lain beside it.
  if (isStub() || origin_.path.empty()) return;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (isTaken[i]) continue;
    found.push_back({.kind = FaultKind::attachment,
                     .what = fmt::format("attachment {} is not in its source; it is left there",
                                         quoted(rows[i].name))});
  }
}

void MessageCheck::compareFingerprint(std::vector<Finding>& found) const {
  if (!stored_.fingerprint) {
    if (hasFingerprints_) {
      found.push_back({.kind = FaultKind::fingerprint,
                       .what = "nothing is noted of its content",
                       .canMend = true});
    }
    return;
  }
  const StoredMessage::Fingerprint& print = *stored_.fingerprint;
  const bool isOfToday =
      print.reading == fingerprintReading(wanted_.origin.encoding, plan_.declaredCharsets);
  if (!isOfToday || print.contentSha256 == wanted_.contentSha256) return;
  found.push_back({.kind = FaultKind::fingerprint,
                   .what = "the digest of its content is another one",
                   .canMend = true});
}

Fingerprint MessageCheck::wantedFingerprint() const {
  return {.sourceSha256 = origin_.sha256,
          .contentSha256 = wanted_.contentSha256,
          .sizeBytes = origin_.sizeBytes,
          .encoding = wanted_.origin.encoding,
          .lineEnds = static_cast<int>(origin_.lineEnds),
          .path = origin_.path,
          .offsetBytes = origin_.offsetBytes,
          .exactBytes = origin_.exactBytes ? &*origin_.exactBytes : nullptr};
}

}  // namespace keldane
