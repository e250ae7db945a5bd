// Calls a filter and the bare time stamp equally often, for callgrind to count:
// instructions FILTER CALLS. Without arguments it lists the filters.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cases.h"

// The storage filter's trace lines are the C library's work.
extern "C" int puts(const char* /*text*/) { return 0; }
extern "C" int printf(const char* /*format*/, ...) { return 0; }

int main(int argc, char** argv) {
  using namespace polaiga::bench;
  const char* const name = argc == 3 ? argv[1] : nullptr;
  const int calls = argc == 3 ? std::atoi(argv[2]) : 0;
  fe_fault_record record{};
  fe_fault_record* out = &record;
  for (const Case& c : kAccepted) {
    if (name == nullptr) {
      std::fputs(c.entity, stdout);
      std::fputc('\n', stdout);
    } else if (std::strcmp(name, c.entity) == 0) {
      fe_fault_filter* const process = filter_of(c);
      first_stamp();
      for (int i = 0; i < calls; ++i) {
        bare_stamp();
        fe_sensor_event event = event_of(c);
        process(&event, &out);
      }
    }
  }
  return 0;
}
