#include "daemon/open_files.h"

#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>

namespace polaiga::engine {
namespace {

rlimit limits() {
  rlimit limit = {};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return limit;
}

int number(rlim_t limit) {
  return static_cast<int>(std::min<rlim_t>(limit, static_cast<rlim_t>(std::numeric_limits<int>::max())));
}

// Also those that the process was started with.
int open_descriptors() {
  constexpr int kUsual = 16;
  std::error_code error;
  const std::filesystem::directory_iterator files("/proc/self/fd", error);
  return error ? kUsual : static_cast<int>(std::distance(begin(files), end(files)));
}

}  // namespace

int open_files_limit() { return number(limits().rlim_cur); }

int free_descriptors(int wanted) {
  const int open = open_descriptors();
  rlimit limit = limits();
  if (number(limit.rlim_cur) - open < wanted && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);  // if it fails, the limit stays as it is, and fewer clients fit
  }
  return open_files_limit() - open;
}

}  // namespace polaiga::engine
