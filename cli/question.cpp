#include "cli/question.h"

#include <cstdio>

#include <unistd.h>

#include "base/text.h"

namespace keldane {

bool canAsk() { return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0; }

bool asksAndHearsYes(const std::string& question) {
  std::fputs((question + " [y/N] ").c_str(), stderr);
  std::fflush(stderr);
  std::string answer;
  for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
    answer += static_cast<char>(c);
  }
  return compareNoCase(answer, "y") == 0 || compareNoCase(answer, "yes") == 0;
}

}  // namespace keldane
