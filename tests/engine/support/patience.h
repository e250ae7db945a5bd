// How long a test waits for what is to happen at once: a slow machine that does much else may take its time.
#pragma once

#include <chrono>

namespace polaiga::engine::test {

constexpr std::chrono::seconds kPatience{120};

}  // namespace polaiga::engine::test
