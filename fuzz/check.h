#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the fuzzer with the input as a finding when something that always holds does not.
#define KELDANE_CHECK(condition)                               \
  do {                                                         \
    if (!(condition)) {                                        \
      std::fprintf(stderr, "does not hold: %s\n", #condition); \
      std::abort();                                            \
    }                                                          \
  } while (false)
