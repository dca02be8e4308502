#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "archive/existing_archive.h"
#include "base/files.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

void listConnections(bool json, Program& program) {
  Connections& connections = program.archiver().connections();
  const auto& list = connections.connectionList();
  std::vector<std::vector<std::string>> rows;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const ServerConnection& entry = list[i];
    const bool selected = static_cast<int>(i) == connections.selectedConnection();
    if (json) {
      printJson({{"name", entry.name},
                 {"host", entry.host},
                 {"user", entry.user},
                 {"database", entry.database},
                 {"socket", entry.socket},
                 {"port", entry.port},
                 {"tls", tlsName(connections.tlsOf(entry))},
                 {"selected", selected}});
    }
    rows.push_back({selected ? "*" : "", entry.name, entry.host, entry.user, entry.database,
                    entry.port == 0 ? "" : fmt::format("{}", entry.port), entry.socket});
  }
  if (json) return;
  std::fputs(formatTable({{"", false, 0},
                          {"NAME", false, 0},
                          {"HOST", false, 0},
                          {"USER", false, 0},
                          {"DATABASE", false, 0},
                          {"PORT", true, 0},
                          {.title = "SOCKET", .wraps = true}},
                         rows, outputWidth())
                 .c_str(),
             stdout);
}

/// Which archives the server in use has. A private server that has never been started has none, and
/// is not made for the question.
void listArchives(Program& program) {
  Archiver& archiver = program.archiver();
  archiver.ensureConnection();
  const std::string name = archiver.connections().current().name;
  const std::string data = archiver.localServer().status().dataFolder;
  const bool isNew = name == kLocalConnectionName && (data.empty() || !isDirectory(data));
  std::fflush(stdout);
  if (!isNew && program.connected("", "", Opening::ifThere) == nullptr) return;
  std::string names;
  if (!isNew) names = join(archivesOnServer(archiver.session()), ", ");
  std::fputs(fmt::format("Archives on \"{}\": {}\n", printable(name),
                         names.empty() ? "none yet" : printable(names))
                 .c_str(),
             stdout);
}

struct AddOptions {
  std::string name;
  std::optional<std::string> host;
  std::optional<std::string> user;
  std::optional<std::string> database;
  std::optional<std::string> socket;
  std::optional<unsigned> port;
  std::optional<std::string> tls;
  std::optional<std::string> tlsAuthority;
  bool replaces = false;
};

/// Row of the connection of this name; nullopt when there is none.
std::optional<std::size_t> rowNamed(const std::string& name, Program& program) {
  const auto names = program.archiver().connections().connectionNames();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<std::size_t>(found - names.begin());
}

/// The connection as it stands, with what has been given in it.
ServerConnection changed(const AddOptions& options, Program& program) {
  ServerConnection connection;
  if (const auto row = rowNamed(options.name, program)) {
    connection = program.archiver().connections().connectionList()[*row];
  }
  connection.name = options.name;
  connection.host = options.host.value_or(connection.host);
  connection.user = options.user.value_or(connection.user);
  connection.database = options.database.value_or(connection.database);
  connection.socket = options.socket.value_or(connection.socket);
  if (options.port) connection.port = static_cast<int>(*options.port);
  if (options.tls) connection.tls = findTls(*options.tls);
  if (options.tlsAuthority) {
    // The next command may run in another folder.
    std::error_code error;
    // An authority without a check of it would be of no use.
    if (!connection.tls) connection.tls = TlsMode::verify;
    connection.tlsAuthority =
        options.tlsAuthority->empty()
            ? std::string()
            : std::filesystem::absolute(*options.tlsAuthority, error).string();
  }
  // A password on the command line would stand in the list of processes.
  const std::optional<std::string> password = program.environment.variable("KELDANE_PASSWORD");
  connection.password = password.value_or(connection.password);
  return connection;
}

/// Makes the connection of this name the selected one again, after the list has changed.
bool selectAgain(const std::string& name, Program& program) {
  const auto row = rowNamed(name, program);
  if (!row) return true;
  Connections& connections = program.archiver().connections();
  connections.selectConnection(*row);
  return connections.saveConnectionPrefs();
}

void addConnection(const AddOptions& options, Program& program) {
  if (options.name == kLocalConnectionName) {
    program.exitStatus = program.fail(fmt::format(
        "\"{}\" is the name of the private server; take another name", kLocalConnectionName));
    return;
  }
  if (options.database && !options.database->empty()) {
    if (const Result<void> named = checkDatabaseName(*options.database); !named) {
      program.exitStatus = program.fail(named.error());
      return;
    }
  }
  if (const auto hosts = parseHosts(options.host.value_or(""), 0); !hosts) {
    program.exitStatus = program.fail(hosts.error());
    return;
  }
  const std::string& authority = options.tlsAuthority.value_or("");
  if (!authority.empty() && !fileExists(authority)) {
    program.exitStatus = program.fail(printable(authority) + ": there is no such file");
    return;
  }
  Connections& connections = program.archiver().connections();
  if (rowNamed(options.name, program) && !options.replaces) {
    program.exitStatus = program.fail(
        fmt::format("there is a connection named \"{}\" already; with --replace it is changed in "
                    "what is given, and keeps the rest",
                    printable(options.name)));
    return;
  }
  const std::string inUse = connections.current().name;
  const bool saved = connections.saveConnection(changed(options, program));
  if (!saved || !selectAgain(inUse, program)) program.exitStatus = kExitFailed;
}

/// Row of the connection of this name; nullopt, and a message, when there is none.
std::optional<std::size_t> findConnection(const std::string& name, Program& program) {
  const auto row = rowNamed(name, program);
  if (!row) {
    program.exitStatus = program.fail(
        fmt::format("there is no connection named \"{}\"; `keldane connections list` shows them",
                    printable(name)));
  }
  return row;
}

bool switchTo(const std::string& name, Program& program) {
  Archiver& archiver = program.archiver();
  const std::string inUse = archiver.connections().current().name;
  if (name == kLocalConnectionName && !rowNamed(name, program)) {
    if (!archiver.savePrivateServer()) return false;
    // Saving has selected it; what is left is the one before.
    if (const auto former = rowNamed(inUse, program)) {
      archiver.connections().selectConnection(*former);
    }
  }
  const auto row = findConnection(name, program);
  return row && archiver.connections().useConnection(*row);
}

void useConnection(const std::string& name, Program& program) {
  if (!switchTo(name, program)) program.exitStatus = kExitFailed;
}

void removeConnection(const std::string& name, Program& program) {
  if (!findConnection(name, program)) return;
  Connections& connections = program.archiver().connections();
  std::string inUse = connections.current().name;
  if (inUse == name && name != kLocalConnectionName) {
    // Another one takes over first, with the database that belongs to it.
    inUse = kLocalConnectionName;
    for (const std::string& other : connections.connectionNames()) {
      if (other == name) continue;
      inUse = other;
      break;
    }
    if (!switchTo(inUse, program)) {
      program.exitStatus = kExitFailed;
      return;
    }
  }
  connections.selectConnection(rowNamed(name, program).value_or(0));
  const bool removed = connections.deleteConnection();
  if (!removed || !selectAgain(inUse, program)) program.exitStatus = kExitFailed;
}

}  // namespace

Command connectionsCommand(Program& program) {
  auto json = std::make_shared<bool>(false);
  auto add = std::make_shared<AddOptions>();
  auto name = std::make_shared<std::string>();
  const CommandOption itsName = {
      .names = "NAME", .target = name.get(), .help = "Its name", .required = true};
  return {
      .name = "connections",
      .help = "The saved database servers",
      .more =
          "The options --connection and --database of other commands hold for that command "
          "alone; of those, `archive` alone makes a database that is not there.",
      .commands = {
          {.name = "list",
           .help = "Show them, * marks the one in use, and the archives on it",
           .options = {{"--json", json.get(), "One JSON object a line for each connection"}},
           .run =
               [json, &program] {
                 listConnections(*json, program);
                 if (!*json) listArchives(program);
               }},
          {.name = "add",
           .help = "Add one, for `connections use`; the password is read from the environment "
                   "variable KELDANE_PASSWORD",
           .options =
               {{.names = "NAME", .target = &add->name, .help = "Its name", .required = true},
                {"--host", &add->host,
                 "Server (localhost when not given); of a cluster several, as in a,b:3307", "HOST"},
                {"--user", &add->user, "Login (root when not given)", "NAME"},
                {"--database", &add->database, "Database to open", "NAME"},
                {"--socket", &add->socket, "Path of a local socket", "PATH"},
                {.names = "--tls",
                 .target = &add->tls,
                 .help = "How the session is encrypted: not at all, where the server can, always, "
                         "or with a certificate that fits host and authority (verify for a new "
                         "connection to another machine, prefer for others)",
                 .value = "HOW",
                 .choices = {"off", "prefer", "require", "verify"}},
                {"--tls-ca", &add->tlsAuthority,
                 "Certificates of the authorities to go by, in a PEM file (the system's own when "
                 "not given)",
                 "FILE"},
                {"--replace", &add->replaces,
                 "Change the one of this name in what is given; it keeps the rest"},
                {"--port", numberInto(add->port, 1, 65535),
                 "Port (the client's default when not given)", "N"}},
           .run = [add, &program] { addConnection(*add, program); }},
          {.name = "use",
           .help = "Use this one from now on",
           .more = "The connection's own database comes with it; \"This Computer\" is the private "
                   "server.",
           .options = {itsName},
           .run = [name, &program] { useConnection(*name, program); }},
          {.name = "remove",
           .help = "Forget this one; its database stays",
           .options = {itsName},
           .run = [name, &program] { removeConnection(*name, program); }}}};
}

}  // namespace keldane
