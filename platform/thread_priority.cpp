#include "platform/thread_priority.h"

#include <sys/resource.h>
#include <unistd.h>

namespace keldane {

void lowerThreadPriority() {
#ifdef __APPLE__
  static_cast<void>(::setpriority(PRIO_DARWIN_THREAD, 0, PRIO_DARWIN_BG));
#elif defined(__linux__)
  constexpr int kLowered = 10;
  static_cast<void>(::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kLowered));
#endif
}

}  // namespace keldane
