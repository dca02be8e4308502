#include "platform/process_memory.h"

#include <cstdlib>  // tells which C library this is

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace keldane {

void giveLargeBlocksBack() {
#ifdef __GLIBC__
  // Once it is set, the limit no longer rises with each large block that is freed.
  constexpr int kLargeBytes = 1 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargeBytes);
#endif
}

}  // namespace keldane
