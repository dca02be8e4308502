#include "platform/process_tool_runner.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace keldane {
namespace {

constexpr std::size_t kChunkBytes = 65536;
/// How often a program that has ended is noticed although a program of its own still holds its
/// output open.
constexpr int kPollMilliseconds = 50;

std::string reason(int code) { return std::generic_category().message(code); }

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(); }
  [[nodiscard]] int get() const { return fd_; }
  [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
  void reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_ = -1;
};

/// The same file under a number above the standard streams, closed by an exec: so that putting it
/// in a standard stream's place cannot overwrite another one.
Descriptor above(int fd) {
  const Descriptor low(fd);
  return Descriptor(fd < 0 ? -1 : ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct Pipe {
  Descriptor reading;
  Descriptor writing;

  [[nodiscard]] bool open() {
    std::array<int, 2> ends{};
#ifdef __linux__
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return false;
#else
    if (::pipe(ends.data()) != 0) return false;
#endif
    reading = above(ends[0]);
    writing = above(ends[1]);
    return reading.isOpen() && writing.isOpen();
  }
};

void makeNonBlocking(const Descriptor& file) {
  ::fcntl(file.get(), F_SETFL, ::fcntl(file.get(), F_GETFL) | O_NONBLOCK);
}

/// A program may end before it has read its input. While this stands, writing to it is an error of
/// this thread and not a signal that ends the process.
class NoBrokenPipeSignal {
 public:
  NoBrokenPipeSignal() {
    ::sigemptyset(&pipeSignal_);
    ::sigaddset(&pipeSignal_, SIGPIPE);
    wasPending_ = isPending();
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal_, &before_);
  }
  ~NoBrokenPipeSignal() {
    if (!wasPending_ && isPending()) {
      int taken = 0;
      ::sigwait(&pipeSignal_, &taken);
    }
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
  NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;

 private:
  static bool isPending() {
    sigset_t pending;
    ::sigemptyset(&pending);
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t pipeSignal_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

/// What a program is started with: its streams, its folder, and signals as a fresh program has
/// them.
class SpawnPlan {
 public:
  SpawnPlan() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
  }
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  void stream(int number, const Descriptor& file) {
    note(::posix_spawn_file_actions_adddup2(&actions_, file.get(), number));
  }
  void folder(const std::string& path) {
    if (!path.empty()) note(::posix_spawn_file_actions_addchdir_np(&actions_, path.c_str()));
  }
  void ownSession() { flags_ |= POSIX_SPAWN_SETSID; }

  /// Starts the program; 0, or the reason why it could not be.
  [[nodiscard]] int start(const ToolCall& call, pid_t& child) {
    sigset_t none;
    sigset_t usual;
    ::sigemptyset(&none);
    ::sigemptyset(&usual);
    ::sigaddset(&usual, SIGPIPE);
    note(::posix_spawnattr_setsigmask(&attributes_, &none));
    note(::posix_spawnattr_setsigdefault(&attributes_, &usual));
    note(::posix_spawnattr_setflags(&attributes_, static_cast<short>(flags_)));
    if (code_ != 0) return code_;
    std::vector<std::string> words = {call.program};
    words.insert(words.end(), call.arguments.begin(), call.arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return ::posix_spawnp(&child, call.program.c_str(), &actions_, &attributes_, argv.data(),
                          environ);
  }

 private:
  void note(int code) {
    if (code_ == 0) code_ = code;
  }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
  int flags_ = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  int code_ = 0;
};

/// The exit status of a child once it has ended; nullopt while it runs. `flags` as for waitpid.
std::optional<int> reap(pid_t child, int flags, bool& lost) {
  int status = 0;
  pid_t ended = 0;
  do {
    ended = ::waitpid(child, &status, flags);
  } while (ended < 0 && errno == EINTR);
  if (ended == 0) return std::nullopt;
  lost = ended < 0;
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WEXITSTATUS(status);
}

/// Carries bytes between this process and a child until the child has ended and has said all.
class Conversation {
 public:
  Conversation(pid_t child, const ToolCall& call, Pipe& in, Pipe& out, Pipe& errors)
      : child_(child), call_(call), input_(call.input), moreInput_(call.nextInput != nullptr) {
    in_ = std::move(in.writing);
    out_ = std::move(out.reading);
    errors_ = std::move(errors.reading);
    for (const Descriptor* file : {&in_, &out_, &errors_}) makeNonBlocking(*file);
    if (input_.empty() && !moreInput_) in_.reset();
  }

  /// False when the system has taken the exit status away from us.
  [[nodiscard]] bool run(ToolOutcome& outcome) {
    const NoBrokenPipeSignal guard;
    std::optional<int> status;
    while ((in_.isOpen() || out_.isOpen() || errors_.isOpen()) && !status) {
      waitForBytes();
      // Asked before the reading: what the program said before its end is in the pipes by now.
      status = reap(child_, WNOHANG, lost_);
      if (status) ended_ = true;
      if (!status) giveInput();
      take(out_, [&](std::string_view piece) {
        if (!call_.takeOutput) {
          outcome.output += piece;
        } else if (!call_.takeOutput(piece)) {
          end();
        }
      });
      take(errors_, [&outcome](std::string_view piece) { outcome.errorText += piece; });
      if (call_.cancelled && call_.cancelled()) end();
    }
    in_.reset();
    if (!status) status = reap(child_, 0, lost_);
    outcome.exitStatus = status.value_or(0);
    return !lost_;
  }

  std::string inputFailure;  ///< why the input could not be had

 private:
  void waitForBytes() const {
    std::array<pollfd, 3> files = {pollfd{in_.get(), POLLOUT, 0}, pollfd{out_.get(), POLLIN, 0},
                                   pollfd{errors_.get(), POLLIN, 0}};
    static_cast<void>(::poll(files.data(), files.size(), kPollMilliseconds));
  }

  /// Sees to it that there is input to give; false when all has been given.
  bool fetchInput() {
    while (input_.empty() && moreInput_) {
      const Result<bool> more = call_.nextInput(input_);
      moreInput_ = more && *more;
      if (!moreInput_) input_ = {};
      if (more) continue;
      inputFailure = more.error();
      end();
    }
    return !input_.empty();
  }

  void end() {
    if (!ended_) ::kill(child_, SIGTERM);
    ended_ = true;
  }

  void giveInput() {
    while (in_.isOpen() && fetchInput()) {
      const ssize_t put = ::write(in_.get(), input_.data(), input_.size());
      if (put < 0 && errno == EINTR) continue;
      if (put < 0 && errno == EAGAIN) return;
      if (put < 0) {  // the program wants no more of it
        input_ = {};
        moreInput_ = false;
      }
      if (put > 0) input_.remove_prefix(static_cast<std::size_t>(put));
    }
    in_.reset();
  }

  template <typename Taker>
  static void take(Descriptor& file, const Taker& taker) {
    std::array<char, kChunkBytes> chunk;
    while (file.isOpen()) {
      const ssize_t got = ::read(file.get(), chunk.data(), chunk.size());
      if (got < 0 && errno == EINTR) continue;
      if (got < 0 && errno == EAGAIN) return;
      if (got <= 0) {
        file.reset();
        return;
      }
      taker(std::string_view(chunk.data(), static_cast<std::size_t>(got)));
    }
  }

  pid_t child_;
  const ToolCall& call_;
  std::string_view input_;
  bool moreInput_;
  bool ended_ = false;
  Descriptor in_;
  Descriptor out_;
  Descriptor errors_;
  bool lost_ = false;
};

Failure cannotStart(const ToolCall& call, int code) {
  return {"cannot start " + call.program + ": " + reason(code)};
}

}  // namespace

Result<ToolOutcome> ProcessToolRunner::run(const ToolCall& call) {
  Pipe in;
  Pipe out;
  Pipe errors;
  if (!in.open() || !out.open() || !errors.open()) return cannotStart(call, errno);
  SpawnPlan plan;
  plan.stream(STDIN_FILENO, in.reading);
  plan.stream(STDOUT_FILENO, out.writing);
  plan.stream(STDERR_FILENO, errors.writing);
  plan.folder(call.folder);
  pid_t child = 0;
  if (const int code = plan.start(call, child); code != 0) return cannotStart(call, code);
  in.reading.reset();
  out.writing.reset();
  errors.writing.reset();
  Conversation conversation(child, call, in, out, errors);
  ToolOutcome outcome;
  if (!conversation.run(outcome)) {
    return Failure{call.program + ": its exit status cannot be had: " + reason(ECHILD)};
  }
  if (!conversation.inputFailure.empty()) return Failure{conversation.inputFailure};
  return outcome;
}

Result<int> ProcessToolRunner::startDetached(const ToolCall& call, const std::string& logPath) {
  if (!call.input.empty()) return Failure{call.program + ": a detached program takes no input"};
  const Descriptor nothing = above(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!nothing.isOpen()) return cannotStart(call, errno);
  const Descriptor log =
      above(::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  if (!log.isOpen()) return Failure{logPath + ": " + reason(errno)};
  SpawnPlan plan;
  plan.stream(STDIN_FILENO, nothing);
  plan.stream(STDOUT_FILENO, log);
  plan.stream(STDERR_FILENO, log);
  plan.folder(call.folder);
  plan.ownSession();
  pid_t child = 0;
  if (const int code = plan.start(call, child); code != 0) return cannotStart(call, code);
  return static_cast<int>(child);
}

}  // namespace keldane
