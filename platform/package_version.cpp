#include "platform/package_version.h"

#include <string_view>

#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kPackage = "keldanepro";
constexpr std::string_view kField = "Version: ";

/// The program's own version within that of its package, "1:8.1-2", which counts the packagings
/// too.
std::string upstreamOf(std::string_view package) {
  if (const std::size_t epoch = package.find(':'); epoch != std::string_view::npos) {
    package.remove_prefix(epoch + 1);
  }
  return std::string(package.substr(0, package.rfind('-')));
}

}  // namespace

Result<std::string> newerPackage(ToolRunner& tools, const std::string& version) {
  const Result<ToolOutcome> shown =
      tools.run({"apt-cache", {"show", "--no-all-versions", kPackage}, "", ""});
  std::string offered;
  if (shown && shown->exitStatus == 0) {
    for (const std::string& line : split(shown->output, "\n")) {
      if (offered.empty() && line.starts_with(kField)) offered = line.substr(kField.size());
    }
  }
  if (offered.empty()) {
    return Failure{"The package sources of this system do not offer Keldane Pro."};
  }
  const Result<ToolOutcome> compared =
      tools.run({"dpkg", {"--compare-versions", upstreamOf(offered), "gt", version}, "", ""});
  if (!compared) return Failure{compared.error()};
  return compared->exitStatus == 0 ? offered : std::string();
}

}  // namespace keldane
