#include "platform/limited_tool.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sched.h>
#endif

namespace keldane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kChunkBytes = 65536;
constexpr rlim_t kMaxFileBytes = rlim_t{64} << 20U;
constexpr int kNotStarted = 127;
constexpr int kPollMilliseconds = 50;

std::string reason(int code) { return std::generic_category().message(code); }

/// Looked up before the fork: behind it only few calls are allowed.
std::optional<std::string> pathOf(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  const char* variable = std::getenv("PATH");
  std::string_view rest = variable ? variable : "/usr/local/bin:/usr/bin:/bin";
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    const std::string path = std::string(rest.substr(0, end)) + "/" + program;
    if (path[0] == '/' && ::access(path.c_str(), X_OK) == 0) return path;
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return std::nullopt;
}

void limit(int resource, rlim_t most) {
  const rlimit both{most, most};
  static_cast<void>(::setrlimit(static_cast<decltype(RLIMIT_CPU)>(resource), &both));
}

/// What the child does between fork and exec: calls that are safe there, and no memory.
struct Launch {
  std::string path;
  std::vector<std::string> words;
  std::vector<std::string> variables;
  std::vector<char*> argv;
  std::vector<char*> environment;
  const LimitedCall& call;
  int output;
  int nothing;
  int mostFiles;

  Launch(std::string program, const LimitedCall& wanted, int out, int null)
      : path(std::move(program)),
        words{wanted.program},
        variables{"PATH=/usr/local/bin:/usr/bin:/bin", "LC_ALL=C.UTF-8", "HOME=" + wanted.folder,
                  "TMPDIR=" + wanted.folder},
        call(wanted),
        output(out),
        nothing(null),
        mostFiles(static_cast<int>(::sysconf(_SC_OPEN_MAX))) {
    words.insert(words.end(), wanted.arguments.begin(), wanted.arguments.end());
    for (std::string& word : words) argv.push_back(word.data());
    for (std::string& variable : variables) environment.push_back(variable.data());
    argv.push_back(nullptr);
    environment.push_back(nullptr);
  }

  [[noreturn]] void go() {
    ::setpgid(0, 0);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
#ifdef __linux__
    static_cast<void>(::unshare(CLONE_NEWUSER | CLONE_NEWNET));
#endif
    limit(RLIMIT_AS, call.memoryBytes);
    limit(RLIMIT_CPU, static_cast<rlim_t>(call.seconds) + 1);
    limit(RLIMIT_FSIZE, kMaxFileBytes);
    limit(RLIMIT_CORE, 0);
    const bool ready = ::dup2(nothing, STDIN_FILENO) >= 0 && ::dup2(output, STDOUT_FILENO) >= 0 &&
                       ::dup2(nothing, STDERR_FILENO) >= 0 && ::chdir(call.folder.c_str()) == 0;
    closeOthers();
    if (ready) ::execve(path.c_str(), argv.data(), environment.data());
    ::_exit(kNotStarted);
  }

  void closeOthers() const {
#if defined(__linux__) && defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
    if (::close_range(STDERR_FILENO + 1, ~0U, 0) == 0) return;
#endif
    for (int fd = STDERR_FILENO + 1; fd < mostFiles; ++fd) ::close(fd);
  }
};

/// A child and its group, ended and reaped when this goes.
class Group {
 public:
  explicit Group(pid_t child) : child_(child) { ::setpgid(child, child); }
  ~Group() { end(); }
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  /// Its state once it has ended by itself. The number stays taken until `end`, so that the group
  /// can be ended by it.
  [[nodiscard]] bool hasEnded() const {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(child_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == child_;
  }
  /// Ends whatever still runs, and answers how the child itself has ended.
  int end() {
    if (child_ <= 0) return status_;
    ::kill(-child_, SIGKILL);
    while (::waitpid(child_, &status_, 0) < 0 && errno == EINTR) {
    }
    child_ = -1;
    return status_;
  }

 private:
  pid_t child_;
  int status_ = 0;
};

struct File {
  int fd = -1;
  ~File() { reset(); }
  void reset() {
    if (fd >= 0) ::close(fd);
    fd = -1;
  }
};

enum class End { finished, cut, late };

End collect(Group& group, File& pipe, const LimitedCall& call, std::string& output) {
  const auto deadline = Clock::now() + std::chrono::seconds(call.seconds);
  std::array<char, kChunkBytes> chunk;
  bool ended = false;
  while (true) {
    pollfd waiting{pipe.fd, POLLIN, 0};
    static_cast<void>(::poll(&waiting, 1, kPollMilliseconds));
    ssize_t got = 0;
    while ((got = ::read(pipe.fd, chunk.data(), chunk.size())) > 0) {
      output.append(chunk.data(), static_cast<std::size_t>(got));
      if (output.size() > call.outputBytes) return End::cut;
    }
    const bool isOpen = got < 0 && (errno == EAGAIN || errno == EINTR);
    if (!isOpen || ended) break;
    ended = group.hasEnded();  // one more reading: what it has said last is in the pipe by now
    if (Clock::now() >= deadline) return End::late;
  }
  // A program may close its output and go on.
  while (!group.hasEnded()) {
    if (Clock::now() >= deadline) return End::late;
    static_cast<void>(::poll(nullptr, 0, kPollMilliseconds / 10));
  }
  return End::finished;
}

}  // namespace

Result<LimitedOutcome> runLimited(const LimitedCall& call) {
  const std::optional<std::string> path = pathOf(call.program);
  if (!path) return Failure{call.program + " is not installed"};
  std::array<int, 2> ends{};
#ifdef __linux__
  const int opened = ::pipe2(ends.data(), O_CLOEXEC);
#else
  const int opened = ::pipe(ends.data());
#endif
  if (opened != 0) return Failure{"cannot start " + call.program + ": " + reason(errno)};
  File reading{ends[0]};
  File writing{ends[1]};
  const File nothing{::open("/dev/null", O_RDWR | O_CLOEXEC)};
  ::fcntl(reading.fd, F_SETFD, FD_CLOEXEC);
  ::fcntl(writing.fd, F_SETFD, FD_CLOEXEC);
  ::fcntl(reading.fd, F_SETFL, O_NONBLOCK);
  Launch launch(*path, call, writing.fd, nothing.fd);
  const pid_t child = ::fork();
  if (child == 0) launch.go();
  if (child < 0) return Failure{"cannot start " + call.program + ": " + reason(errno)};
  Group group(child);
  writing.reset();
  LimitedOutcome outcome;
  const End end = collect(group, reading, call, outcome.output);
  const int status = group.end();
  if (end == End::late) {
    return Failure{call.program + " was stopped after " + std::to_string(call.seconds) +
                   " seconds"};
  }
  if (end == End::cut) {
    outcome.output.resize(call.outputBytes);
    outcome.isCut = true;
    return outcome;
  }
  if (WIFSIGNALED(status)) {
    return Failure{call.program + " was ended by signal " + std::to_string(WTERMSIG(status))};
  }
  if (WEXITSTATUS(status) == kNotStarted) return Failure{call.program + " could not be started"};
  if (WEXITSTATUS(status) != 0) {
    return Failure{call.program + " failed with status " + std::to_string(WEXITSTATUS(status))};
  }
  return outcome;
}

}  // namespace keldane
