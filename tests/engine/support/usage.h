// What a process has used, as the kernel tells it.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

namespace polaiga::engine::test {

// Time of the processor, its own and the kernel's for it.
inline std::chrono::milliseconds processor_time(int pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  const std::string stat{std::istreambuf_iterator<char>(file), {}};
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  constexpr int kFieldsBefore = 11;  // behind the name: state to cmajflt
  std::string passed_over;
  for (int i = 0; i < kFieldsBefore; ++i) fields >> passed_over;
  std::int64_t own = 0;
  std::int64_t kernel = 0;
  fields >> own >> kernel;
  return std::chrono::milliseconds((own + kernel) * 1000 / ::sysconf(_SC_CLK_TCK));
}

// How much of it is used from now on, within such a time.
inline std::chrono::milliseconds processor_time_in(std::chrono::milliseconds span, int pid) {
  const auto before = processor_time(pid);
  std::this_thread::sleep_for(span);
  return processor_time(pid) - before;
}

// The most memory that it had, in KiB.
inline std::int64_t most_memory(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stoll(line.substr(6));
  }
  return -1;
}

}  // namespace polaiga::engine::test
