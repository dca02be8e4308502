#include "output/database_tools.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "base/text.h"
#include "output/output_file.h"

namespace keldane {
namespace {

constexpr std::size_t kLookedAtBytes = 5120;
constexpr std::size_t kPieceBytes = 256 * 1024;
constexpr const char* kNoSqlFile = "This is not a Keldane SQL file.";
constexpr const char* kCancelled = "cancelled";
constexpr const char* kLoginPrefix = "keldane_login";
constexpr std::size_t kMostWords = 2000;  ///< of a tool, for a message
constexpr const char* kMostPacket = "--max_allowed_packet=500MB";
/// A dump quotes by double quotes and escapes by backslashes, which a server can have been told not
/// to read so. Of a session of the program it is the same.
constexpr const char* kPlainMode = "--init-command=SET SESSION sql_mode=''";
/// Numbers of the errors by which a server refuses a statement that it does not know.
constexpr std::string_view kUnknownToServer[] = {"1054", "1064", "1193", "1305"};

/// MariaDB's newer packages have its own names alone.
std::string otherName(const std::string& name) {
  return name == "mysqldump" ? "mariadb-dump" : name == "mysql" ? "mariadb" : std::string();
}

std::string which(ToolRunner& tools, const std::string& name) {
  ToolCall call;
  call.program = "/usr/bin/which";
  call.arguments = {name};
  const Result<ToolOutcome> outcome = tools.run(call);
  std::string found = outcome ? outcome->output : std::string();
  removeAll(found, "\n");
  removeAll(found, "\r");
  return found;
}

/// A value between double quotes, as option files have them.
std::string optionLine(const char* name, const std::string& value) {
  std::string escaped = value;
  replaceAll(escaped, "\\", "\\\\");
  replaceAll(escaped, "\"", "\\\"");
  replaceAll(escaped, "\n", "\\n");
  replaceAll(escaped, "\r", "\\r");
  return fmt::format("{}=\"{}\"\n", name, escaped);
}

/// The session's own choice. MariaDB's tools and MySQL's have other words for it, and each passes
/// over those of the other.
std::string tlsLines(const ServerAddress& address) {
  const std::string host = address.host.value_or("");
  if (host.empty() || host == "localhost") return {};
  std::string text;
  switch (address.tls) {
    case TlsMode::off:
      return "loose-skip-ssl\nloose-ssl-mode=DISABLED\n";
    case TlsMode::prefer:
      return "loose-ssl\nloose-skip-ssl-verify-server-cert\nloose-ssl-mode=PREFERRED\n";
    case TlsMode::require:
      return "loose-ssl\nloose-skip-ssl-verify-server-cert\nloose-ssl-mode=REQUIRED\n";
    case TlsMode::verify:
      text = "loose-ssl\nloose-ssl-verify-server-cert\nloose-ssl-mode=VERIFY_IDENTITY\n";
      if (!address.tlsAuthority.empty()) text += optionLine("ssl-ca", address.tlsAuthority);
  }
  return text;
}

std::string optionText(const ServerAddress& address) {
  std::string text = "[client]\n";
  if (address.host && !address.host->empty()) text += optionLine("host", *address.host);
  if (address.user && !address.user->empty()) text += optionLine("user", *address.user);
  if (address.password && !address.password->empty()) {
    text += optionLine("password", *address.password);
  }
  if (address.socket && !address.socket->empty()) text += optionLine("socket", *address.socket);
  if (address.port != 0) text += fmt::format("port={}\n", address.port);
  return text + tlsLines(address);
}

Failure systemFailure(const std::string& path) {
  return {path + ": " + std::generic_category().message(errno)};
}

/// The first line of an error, without the statement that the tool has put before it: that may be a
/// whole message. All but the warnings of what the tool has said when none is marked so.
std::string firstError(std::string_view text) {
  const std::size_t at = text.starts_with("ERROR") ? 0 : text.find("\nERROR");
  if (at != std::string_view::npos) {
    text = trimWhitespace(text.substr(at));
    return std::string(text.substr(0, text.find('\n')));
  }
  std::vector<std::string> lines = split(text, "\n");
  std::erase_if(lines, [](const std::string& line) { return line.starts_with("Warning: "); });
  return join(lines, "\n");
}

/// The tool's own question to the server was refused: it is made for servers of another make or
/// age.
bool isForOtherServers(const std::string& words) {
  return words.find("Couldn't execute '") != std::string::npos &&
         std::any_of(std::begin(kUnknownToServer), std::end(kUnknownToServer),
                     [&words](std::string_view number) {
                       return words.find("(" + std::string(number) + ")") != std::string::npos;
                     });
}

Failure toolFailure(const std::string& program, const ToolOutcome& outcome) {
  std::string words = printable(trimWhitespace(firstError(outcome.errorText)));
  if (words.size() > kMostWords) words = words.substr(0, kMostWords) + "...";
  if (words.empty()) words = fmt::format("ended with status {}", outcome.exitStatus);
  if (isForOtherServers(outcome.errorText)) {
    words += fmt::format(
        " - {} is made for servers of another make or version: put the one that came with the "
        "server first on the PATH",
        program);
  }
  return {fmt::format("{} failed: {}", lastPathComponent(program), words)};
}

Failure missingTool(const char* what, const char* name, const std::string& found) {
  return {fmt::format("{} failed.  Couldn't find the {} utility.  {}\n", what, name, found)};
}

/// Those of programs that were killed before they could take theirs away.
void removeStaleLogins(const std::string& folder) {
  const std::string prefix = std::string(kLoginPrefix) + ".";
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(prefix)) continue;
    const int process = leadingInt(name.substr(prefix.size()));
    if (process > 0 && ::kill(process, 0) != 0 && errno == ESRCH) {
      ::unlink(entry->path().c_str());
    }
  }
}

/// The first piece of a dump of ours tells what the rest is written in by a name which for many
/// servers means characters of three bytes at most: an emoji would not get through.
PieceReader withWideCharacters(PieceReader pieces) {
  return [pieces = std::move(pieces), isFirst = true,
          text = std::string()](std::string_view& piece) mutable -> Result<bool> {
    Result<bool> more = pieces(piece);
    if (!std::exchange(isFirst, false) || !more || !*more) return more;
    constexpr std::string_view kNarrow = "\nSET CHARACTER SET utf8;\n";
    const std::size_t at = piece.find(kNarrow);
    if (!piece.starts_with("CREATE DATABASE IF NOT EXISTS ") || at == std::string_view::npos) {
      return more;
    }
    text = piece;
    text.replace(at, kNarrow.size(), "\nSET CHARACTER SET utf8mb4;\n");
    piece = text;
    return more;
  };
}

}  // namespace

FoundTool findTool(ToolRunner& tools, const std::string& name) {
  FoundTool tool;
  for (const std::string& asked : {"/usr/local/mysql/bin/" + name, name, otherName(name)}) {
    if (asked.empty()) continue;
    tool.found = which(tools, asked);
    if (tool.found.ends_with("/" + std::string(lastPathComponent(asked)))) {
      tool.path = tool.found;
      return tool;
    }
  }
  return tool;
}

Result<OptionFile> OptionFile::make(const ServerAddress& address, const std::string& folder) {
  removeStaleLogins(folder);
  std::string path = fmt::format("{}{}{}.{}.XXXXXX", folder, folder.ends_with('/') ? "" : "/",
                                 kLoginPrefix, ::getpid());
  const int fd = ::mkstemp(path.data());
  if (fd < 0) return systemFailure(path);
  OptionFile file(path);
  const std::string text = optionText(address);
  const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (::close(fd) != 0 || !written) return systemFailure(path);
  return file;
}

OptionFile::~OptionFile() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

Result<void> runDatabaseTool(const ToolContext& context, const std::string& program,
                             std::vector<std::string> arguments, PieceReader input,
                             std::function<bool(std::string_view)> output) {
  const Result<OptionFile> login = OptionFile::make(context.address, context.temporaryFolder);
  if (!login) return Failure{login.error()};
  ToolCall call;
  call.program = program;
  call.arguments = std::move(arguments);
  call.arguments.insert(call.arguments.begin(), login->argument());
  call.nextInput = std::move(input);
  call.takeOutput = std::move(output);
  call.cancelled = [&context] { return context.progress.cancelled(); };
  const Result<ToolOutcome> outcome = context.tools.run(call);
  if (!outcome) return Failure{outcome.error()};
  if (context.progress.cancelled()) return Failure{kCancelled};
  // Told to go on past errors, a tool may end well in spite of them.
  const bool hasErred = outcome->errorText.starts_with("ERROR") ||
                        outcome->errorText.find("\nERROR") != std::string::npos;
  if (outcome->exitStatus != 0 || hasErred) return toolFailure(program, *outcome);
  return {};
}

Result<SqlFile> inspectSqlFile(const std::string& path) {
  const Result<std::string> beginning = readBeginning(path, kLookedAtBytes);
  if (!beginning) return Failure{beginning.error()};
  constexpr std::string_view kUse = "\nUSE ";
  const std::size_t use = beginning->find(kUse);
  if (use == std::string::npos) return Failure{kNoSqlFile};
  SqlFile file;
  // The blank before the name stays, as the question about the file has always shown it.
  file.databaseName = beginning->substr(use + kUse.size() - 1);
  file.databaseName.resize(std::min(file.databaseName.size(), file.databaseName.find(';')));
  file.replaces = beginning->find("\nDROP TABLE ") != std::string::npos;
  return file;
}

Result<void> importSQL(const ToolContext& context, const std::string& path) {
  const FoundTool tool = findTool(context.tools, "mysql");
  if (tool.path.empty()) return missingTool("Import", "mysql", tool.found);
  if (const Result<SqlFile> file = inspectSqlFile(path); !file) return Failure{file.error()};
  Result<PieceReader> pieces = readInPieces(path);
  if (!pieces) return Failure{pieces.error()};
  // Without the binary mode the tool takes the CR out of every CR LF of a message.
  return runDatabaseTool(
      context, tool.path,
      {kMostPacket, "--default-character-set=utf8", "-f", "--binary-mode", kPlainMode},
      withWideCharacters(std::move(*pieces)), {});
}

Result<void> backupSQL(const ToolContext& context, const std::string& databaseName,
                       const std::string& path) {
  const FoundTool tool = findTool(context.tools, "mysqldump");
  if (tool.path.empty()) return missingTool("Export", "mysqldump", tool.found);
  OutputFile file(path);
  if (Result<void> opened = file.open(); !opened) return opened;
  const Result<void> dumped =
      runDatabaseTool(context, tool.path, {kMostPacket, "--databases", databaseName}, {},
                      [&file](std::string_view piece) {
                        file.write(piece);
                        return !file.hasFailed();
                      });
  // Without room for its output the tool has only been ended.
  if (file.hasFailed() || dumped) return file.commit();
  return dumped;
}

Result<PieceReader> readInPieces(const std::string& path) {
  const std::shared_ptr<std::FILE> file(std::fopen(path.c_str(), "rb"), [](std::FILE* opened) {
    if (opened != nullptr) std::fclose(opened);
  });
  if (!file) return systemFailure(path);
  const auto buffer = std::make_shared<std::string>(kPieceBytes, '\0');
  return PieceReader([file, buffer, path](std::string_view& piece) -> Result<bool> {
    const std::size_t got = std::fread(buffer->data(), 1, buffer->size(), file.get());
    if (got == 0 && std::ferror(file.get()) != 0) return systemFailure(path);
    piece = std::string_view(*buffer).substr(0, got);
    return got > 0;
  });
}

}  // namespace keldane
