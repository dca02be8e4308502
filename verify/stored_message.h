#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"

namespace keldane {

/// What all tables hold of one message, as the server gives it.
struct StoredMessage {
  struct Attachment {
    std::string type;
    std::string name;
    std::uint64_t declaredBytes = 0;  ///< column `encode_fld`
    std::uint64_t sizeBytes = 0;
    std::string sha256;
  };
  /// Its row of `keldane_fingerprints`; a value that is not there is not known.
  struct Fingerprint {
    std::string sourceSha256;
    std::string contentSha256;
    int reading = 0;
    std::uint64_t sizeBytes = 0;
    std::optional<int> encoding;
    int lineEnds = 0;
    std::string path;
    std::optional<std::uint64_t> offsetBytes;
    std::optional<std::string> packedBytes;
  };

  std::uint32_t id = 0;
  bool hasRow = false;
  std::map<std::string, std::string, std::less<>> columns;  ///< of its row of `email`
  std::optional<std::string> source;
  std::vector<Attachment> attachments;
  std::optional<Fingerprint> fingerprint;

  [[nodiscard]] const std::string& column(std::string_view name) const;
};

/// Reads them; a message of which there is nothing has none of them. The bytes of one attachment at
/// a time are in memory. Fails with the server's words.
[[nodiscard]] Result<StoredMessage> loadStoredMessage(ServerSession& session, std::uint32_t id,
                                                      bool hasFingerprints);

}  // namespace keldane
