#include "platform/system_environment.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <system_error>

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#ifdef __APPLE__
#include <climits>

#include <mach-o/dyld.h>
#endif

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kMacVersionFile = "/System/Library/CoreServices/SystemVersion.plist";
constexpr const char* kLinuxVersionFile = "/etc/os-release";

std::string kernelRelease() {
  utsname names{};
  return ::uname(&names) == 0 ? std::string(names.release) : std::string();
}

/// The home folder that the system knows for this user; nullopt when it knows none.
std::optional<std::string> accountHome() {
  const passwd* account = ::getpwuid(::getuid());
  if (account == nullptr || account->pw_dir == nullptr || *account->pw_dir != '/') {
    return std::nullopt;
  }
  return std::string(account->pw_dir);
}

}  // namespace

std::string macVersionFrom(std::string_view plist) {
  const std::size_t key = plist.find("<key>ProductUserVisibleVersion</key>");
  if (key == std::string_view::npos) return {};
  constexpr std::string_view kOpen = "<string>";
  const std::size_t open = plist.find(kOpen, key);
  if (open == std::string_view::npos) return {};
  const std::size_t start = open + kOpen.size();
  const std::size_t end = plist.find('<', start);
  return std::string(trimWhitespace(plist.substr(start, end - start)));
}

std::string linuxVersionFrom(std::string_view osRelease) {
  constexpr std::string_view kKey = "VERSION_ID=";
  for (const std::string& line : split(osRelease, "\n")) {
    if (!line.starts_with(kKey)) continue;
    std::string value = line.substr(kKey.size());
    removeAll(value, "\"");
    removeAll(value, "'");
    return std::string(trimWhitespace(value));
  }
  return {};
}

SystemEnvironment::SystemEnvironment(int argc, char** argv) : arguments_(argv, argv + argc) {}

std::string SystemEnvironment::executablePath() const {
  std::string named = Environment::executablePath();
  if (named.starts_with('/')) return named;
  std::error_code none;
#ifdef __APPLE__
  std::array<char, PATH_MAX> path{};
  std::uint32_t size = path.size();
  if (::_NSGetExecutablePath(path.data(), &size) != 0) return named;
  const std::filesystem::path running = std::filesystem::canonical(path.data(), none);
#else
  const std::filesystem::path running = std::filesystem::read_symlink("/proc/self/exe", none);
#endif
  return none ? named : running.string();
}

std::optional<std::string> SystemEnvironment::variable(std::string_view name) const {
  const char* value = std::getenv(std::string(name).c_str());
  if (name == "HOME" && (value == nullptr || *value != '/')) return accountHome();
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::string SystemEnvironment::temporaryFolder() const {
  std::string folder = variable("TMPDIR").value_or("");
#ifdef _CS_DARWIN_USER_TEMP_DIR
  if (folder.empty()) {
    std::array<char, 1024> own{};
    if (::confstr(_CS_DARWIN_USER_TEMP_DIR, own.data(), own.size()) > 0) folder = own.data();
  }
#endif
  if (folder.empty()) folder = "/tmp";
  if (folder.back() != '/') folder += '/';
  return folder;
}

std::string SystemEnvironment::uniqueString() {
  std::random_device random;
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), "%08X-%08X-%08llX-%X-%u", static_cast<unsigned>(random()),
                static_cast<unsigned>(random()), static_cast<unsigned long long>(now()),
                static_cast<unsigned>(::getpid()), ++counter_);
  return text.data();
}

std::int64_t SystemEnvironment::now() const { return std::time(nullptr); }

std::string SystemEnvironment::systemVersion() const {
  if (const Result<std::string> plist = readFile(kMacVersionFile)) return macVersionFrom(*plist);
  if (const Result<std::string> release = readFile(kLinuxVersionFile)) {
    if (const std::string version = linuxVersionFrom(*release); !version.empty()) return version;
  }
  return kernelRelease();
}

}  // namespace keldane
