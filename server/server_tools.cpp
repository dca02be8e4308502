#include "server/server_tools.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <unistd.h>

#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

std::vector<std::string> searchFolders(const Environment& environment,
                                       const std::vector<std::string>& usualFolders) {
  std::vector<std::string> folders;
  const auto add = [&folders](const std::string& folder) {
    // A relative entry of the PATH would make the server depend on where the user stands.
    if (!folder.starts_with('/')) return;
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(folder);
    }
  };
  for (const std::string& folder : split(environment.variable("PATH").value_or(""), ":")) {
    add(folder);
  }
  for (const std::string& folder : usualFolders) add(folder);
  return folders;
}

std::string findProgram(const std::vector<std::string>& folders, std::string_view name) {
  for (const std::string& folder : folders) {
    std::string path = folder + "/";
    path += name;
    if (::access(path.c_str(), X_OK) == 0 && !isDirectory(path)) return path;
  }
  return {};
}

constexpr std::pair<int, int> kFirstToResizeLog = {10, 9};

std::string versionText(const std::string& server, ToolRunner& tools) {
  const Result<ToolOutcome> answer = tools.run({server, {"--no-defaults", "--version"}, "", ""});
  return answer ? answer->output : std::string();
}

/// A program named "mysqld" is MySQL's own, or MariaDB's under its old name.
ServerMake makeOf(const std::string& server, ToolRunner& tools) {
  if (lastPathComponent(server) == "mariadbd") return ServerMake::mariadb;
  const bool mariadb = versionText(server, tools).find("MariaDB") != std::string::npos;
  return mariadb ? ServerMake::mariadb : ServerMake::mysql;
}

}  // namespace

std::vector<std::string> usualServerFolders() {
  return {"/usr/sbin",
          "/usr/libexec",
          "/usr/local/sbin",
          "/usr/bin",
          "/usr/local/bin",
          "/usr/local/mariadb/bin",
          "/usr/local/mysql/bin",
          "/opt/homebrew/bin",
          "/opt/homebrew/opt/mariadb/bin",
          "/opt/homebrew/opt/mysql/bin",
          "/usr/local/opt/mariadb/bin",
          "/usr/local/opt/mysql/bin",
          "/opt/local/lib/mariadb/bin",
          "/opt/local/lib/mysql8/bin"};
}

ServerPrograms findServerPrograms(const Environment& environment, ToolRunner& tools,
                                  const std::vector<std::string>& usualFolders,
                                  std::optional<ServerMake> wanted) {
  const std::vector<std::string> folders = searchFolders(environment, usualFolders);
  for (const std::string_view name : {"mariadbd", "mysqld"}) {
    ServerPrograms programs;
    programs.server = findProgram(folders, name);
    if (programs.server.empty()) continue;
    programs.make = makeOf(programs.server, tools);
    if (wanted && programs.make != *wanted) continue;
    if (programs.make == ServerMake::mysql) return programs;
    programs.installer = findProgram(folders, "mariadb-install-db");
    if (programs.installer.empty()) programs.installer = findProgram(folders, "mysql_install_db");
    return programs;
  }
  return {};
}

bool resizesLog(const ServerPrograms& programs, ToolRunner& tools) {
  if (programs.make != ServerMake::mariadb) return false;
  const std::string text = versionText(programs.server, tools);
  const std::size_t version = text.find("Ver ");
  std::pair<int, int> number;
  return version != std::string::npos &&
         std::sscanf(text.c_str() + version, "Ver %d.%d", &number.first, &number.second) == 2 &&
         number >= kFirstToResizeLog;
}

std::optional<ServerMake> dataFolderMake(const std::string& dataFolder) {
  if (fileExists(dataFolder + "/aria_log_control")) return ServerMake::mariadb;
  if (fileExists(dataFolder + "/mysql.ibd")) return ServerMake::mysql;
  return std::nullopt;
}

std::string missingServerText(std::optional<ServerMake> wanted) {
  if (wanted == ServerMake::mysql) {
    return "The archive of this computer was made by a MySQL server, which is not installed. "
           "Install the package \"mysql-server\" (Homebrew: \"mysql\").";
  }
  return "No database server is installed. Install the package \"mariadb-server\" (Homebrew: "
         "\"mariadb\"), or connect to a server of your own.";
}

}  // namespace keldane
