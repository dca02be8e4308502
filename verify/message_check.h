#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/fingerprints.h"
#include "archive/server_session.h"
#include "archive/source_origin.h"
#include "base/result.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/partial_file.h"
#include "ingest/reading/source_reader.h"
#include "ingest/storing/email_columns.h"
#include "platform/environment.h"
#include "verify/archive_fault.h"
#include "verify/stored_message.h"

namespace keldane {

/// A fault of the message at hand, with what it takes to mend it.
struct Finding {
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  FaultKind kind = FaultKind::source;
  std::string what;
  bool canMend = false;
  std::string column = {};   ///< of `email` that is to be written
  std::size_t part = kNone;  ///< of the wanted message, that is to be written
  std::size_t row = kNone;   ///< of the stored attachments, whose place it takes
};

/// Compares all that the archive holds of a message with its source, read again by the code that a
/// run stores by. The source itself is proved by the digest of the bytes that were read; nothing is
/// concluded, and nothing can be mended, from one that is not what was read.
///
/// Not faults: attachments that the user has deleted, or had left out when the message was stored,
/// and a date that differs by a time zone. One message is in memory. One thread at a time.
class MessageCheck {
 public:
  MessageCheck(ServerSession& session, Environment& environment);

  /// To be called first: asks what tables and columns there are. Fails with the server's words.
  [[nodiscard]] Result<void> begin();
  [[nodiscard]] bool hasFingerprints() const { return hasFingerprints_; }

  /// False: there is nothing of this message. Fails with the server's words.
  [[nodiscard]] Result<bool> check(std::uint32_t id);

  // Of the message that was checked last.
  [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }
  [[nodiscard]] const StoredMessage& stored() const { return stored_; }
  /// Its bytes, as they lay in the file, have been restored and proved.
  [[nodiscard]] bool isExact() const { return isProved_; }
  /// It has no source by right: nothing to compare with.
  [[nodiscard]] bool isBare() const { return isBare_; }
  /// What the rows should hold; of use when a finding can be mended.
  [[nodiscard]] const CurrentMessage& wanted() const { return wanted_; }
  [[nodiscard]] const std::string& wantedColumn(std::string_view name) const;
  [[nodiscard]] std::string wantedSource() const;
  [[nodiscard]] Fingerprint wantedFingerprint() const;
  [[nodiscard]] bool declaredCharsets() const { return plan_.declaredCharsets; }

 private:
  using Rooms = std::map<std::string, ColumnRoom, std::less<>>;

  [[nodiscard]] bool settleSource();
  void readOrigin();
  [[nodiscard]] bool settleByKeptBytes(const std::string& bytes);
  [[nodiscard]] bool settleByText();
  void add(FaultKind kind, std::string what, bool canMend);
  /// How the message may have been read and stored, by the settings of that time.
  struct Way {
    mime::SourceEncoding encoding = mime::SourceEncoding::utf8;
    bool declaredCharsets = true;
    bool keepsAttachments = true;
    bool wereDeleted = false;
    std::optional<double> mostBytes = std::nullopt;  ///< of an attachment
    bool operator==(const Way&) const = default;
  };
  void compareWays();
  [[nodiscard]] std::vector<Way> waysOfReading() const;
  [[nodiscard]] std::vector<Way> waysOfKeeping(const Way& reading) const;
  [[nodiscard]] std::vector<Finding> compare(const Way& way);
  void fillWantedColumns();
  void leaveOutDeleted();
  void compareRows(std::vector<Finding>& found) const;
  void compareColumns(std::vector<Finding>& found) const;
  void compareAttachments(std::vector<Finding>& found) const;
  void compareFingerprint(std::vector<Finding>& found) const;
  [[nodiscard]] bool fits(std::string_view column, const std::string& wanted) const;
  [[nodiscard]] bool isStub() const;

  ServerSession& session_;
  PassPlan plan_;
  CurrentMessage wanted_;
  PartialFile noParts_;
  SourceReader reader_;
  Rooms emailRooms_;
  Rooms attachmentRooms_;
  bool hasFingerprints_ = false;

  StoredMessage stored_;
  std::vector<Finding> findings_;
  std::map<std::string, std::string, std::less<>> wantedColumns_;
  std::optional<std::string> ownText_;  ///< the source, where that stored is not it
  SourceOrigin origin_;                 ///< as it should be noted
  bool isProved_ = false;
  bool isBare_ = false;
};

}  // namespace keldane
