#pragma once

#include <string>

namespace keldane {

/// A folder or file of mail that the user keeps as a source: every run without paths archives it.
struct MailFolder {
  std::string name;  ///< as its messages' mailboxes begin; unique among the sources
  std::string path;  ///< absolute
  bool operator==(const MailFolder&) const = default;
};

}  // namespace keldane
