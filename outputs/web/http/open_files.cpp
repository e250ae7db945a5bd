#include "http/open_files.h"

#include <sys/resource.h>

#include <algorithm>

namespace polaiga::web {

std::size_t allow_open_files(std::size_t wanted) {
  rlimit limit = {};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return wanted;
  if (limit.rlim_cur < wanted) {
    rlimit raised = limit;
    raised.rlim_cur = std::min<rlim_t>(wanted, limit.rlim_max);
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  }
  return static_cast<std::size_t>(limit.rlim_cur);
}

}  // namespace polaiga::web
