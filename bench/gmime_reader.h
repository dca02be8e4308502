#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace keldane::bench {

/// One attachment or other leaf as the peer reads it.
struct PeerItem {
  std::string name;
  std::string type;
  std::string data;
};

/// A message as the peer library reads it, everything as UTF-8.
struct PeerMessage {
  bool parsed = false;
  std::string subject;
  std::string from;             ///< bare address of the first sender
  std::vector<std::string> to;  ///< bare addresses
  std::vector<std::string> cc;
  bool hasDate = false;
  std::int64_t date = 0;  ///< seconds since 1970
  std::string plain;      ///< first text/plain leaf that is not an attachment
  std::string html;
  std::vector<PeerItem> attachments;
  std::uint64_t decodedBytes = 0;  ///< of all leaves
};

/// To be called once before the first `readWithPeer`.
void startPeer();
/// Parses a message, reads its main fields and decodes every leaf, text leaves to UTF-8.
[[nodiscard]] PeerMessage readWithPeer(std::string_view text);

}  // namespace keldane::bench
