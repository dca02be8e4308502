#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <type_traits>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldane::bench {

/// Does the work in a process of its own and answers what that measured, with `peakKb`, its peak
/// memory, filled in. A process that fails ends this one.
template <typename Measure>
Measure inChild(const std::function<Measure()>& work) {
  static_assert(std::is_trivially_copyable_v<Measure>);
  int pipeEnds[2];
  // The server that a child starts is not to keep the pipe open.
  if (::pipe2(pipeEnds, O_CLOEXEC) != 0) std::exit(1);
  const pid_t child = ::fork();
  if (child == 0) {
    Measure measure = work();
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    measure.peakKb = usage.ru_maxrss;
    const bool written = ::write(pipeEnds[1], &measure, sizeof measure) == sizeof measure;
    ::_exit(written ? 0 : 1);
  }
  ::close(pipeEnds[1]);
  Measure measure;
  const bool good = ::read(pipeEnds[0], &measure, sizeof measure) == sizeof measure;
  ::close(pipeEnds[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!good || status != 0) {
    std::fprintf(stderr, "a measured process failed\n");
    std::exit(1);
  }
  return measure;
}

}  // namespace keldane::bench
