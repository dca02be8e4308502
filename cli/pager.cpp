#include "cli/pager.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/terminal_text.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

std::string variableOr(const char* name, const char* otherwise) {
  const char* value = std::getenv(name);
  return value == nullptr ? otherwise : value;
}

/// Whether the command's program is on the PATH; true for anything more than a plain name.
bool canRun(const std::string& command) {
  const std::string program = command.substr(0, command.find(' '));
  if (program.find_first_of("/=$\"'\\") != std::string::npos) return true;
  for (const std::string& folder : split(variableOr("PATH", "/usr/bin:/bin"), ":")) {
    if (::access((folder + "/" + program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

bool terminalTakesColor() {
  const char* noColor = std::getenv("NO_COLOR");
  if (noColor != nullptr && *noColor != '\0') return false;
  return terminalTakesEscapes();
}

}  // namespace

Pager::Pager(const OutputStyle& style, bool wanted) {
  if (!wanted) return;
  color_ = style.color == "always";
  if (::isatty(STDOUT_FILENO) == 0) return;
  width_ = terminalWidth(STDOUT_FILENO);
  color_ = color_ || (style.color != "never" && terminalTakesColor());
  if (style.noPager) return;
  // A terminal that cannot move its cursor would be asked for a key press before each list.
  const std::string command = variableOr("PAGER", terminalTakesEscapes() ? "less -R" : "");
  if (!command.empty() && command != "cat" && canRun(command)) start(command);
}

void Pager::start(const std::string& command) {
  std::fflush(stdout);
  int ends[2];
  if (::pipe(ends) != 0) return;
  terminalCopy_ = ::dup(STDOUT_FILENO);
  if (terminalCopy_ < 0) {
    ::close(ends[0]);
    ::close(ends[1]);
    return;
  }
  // A list that fits on the screen needs no key press to leave it.
  ::setenv("LESS", "FRX", 0);
  childProcess_ = ::fork();
  if (childProcess_ == 0) {
    ::dup2(ends[0], STDIN_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    ::close(terminalCopy_);
    // Through the shell, as the variable may hold arguments; it is the user's own.
    ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::close(ends[0]);
  if (childProcess_ < 0 || ::dup2(ends[1], STDOUT_FILENO) < 0) {
    ::close(ends[1]);
    ::close(terminalCopy_);
    terminalCopy_ = -1;
    return;
  }
  ::close(ends[1]);
  interruptBefore_ = std::signal(SIGINT, SIG_IGN);
  pipeBefore_ = std::signal(SIGPIPE, SIG_IGN);
}

Pager::~Pager() {
  if (terminalCopy_ < 0) return;
  if (std::fflush(stdout) != 0) {
    // What a pager left early did not take must not come out on the terminal.
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
      ::dup2(nowhere, STDOUT_FILENO);
      ::close(nowhere);
      std::fflush(stdout);
    }
    std::clearerr(stdout);
  }
  ::dup2(terminalCopy_, STDOUT_FILENO);
  ::close(terminalCopy_);
  int status = 0;
  while (::waitpid(childProcess_, &status, 0) < 0 && errno == EINTR) {
  }
  std::signal(SIGINT, interruptBefore_);
  std::signal(SIGPIPE, pipeBefore_);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
    std::fputs("keldane: the pager could not be started; is PAGER right?\n", stderr);
  }
}

}  // namespace keldane
