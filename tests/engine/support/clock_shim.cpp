// For LD_PRELOAD: the seconds of the clock and those that the file $CLOCK_OFFSET
// holds.
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

std::time_t offset() {
  long long seconds = 0;
  const char* const path = std::getenv("CLOCK_OFFSET");
  std::FILE* const file = path != nullptr ? std::fopen(path, "re") : nullptr;
  if (file == nullptr) return 0;
  if (std::fscanf(file, "%lld", &seconds) != 1) seconds = 0;
  std::fclose(file);
  return static_cast<std::time_t>(seconds);
}

}  // namespace

extern "C" std::time_t time(std::time_t* out) noexcept {
  std::timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const std::time_t seconds = now.tv_sec + offset();
  if (out != nullptr) *out = seconds;
  return seconds;
}
