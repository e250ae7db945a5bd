// The answer of a build of the library to an event, and the differences between the
// answers of two builds.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace polaiga::engine {

// Processes send it to each other byte for byte.
struct LibraryAnswer {
  std::int32_t result = 0;
  fe_sensor_event event = {};       // the caller's event after the call
  fe_fault_record record = {};      // zero wherever the filter wrote nothing
  char withdrawn[FE_DN_SIZE] = {};  // DN of the fault that the filter withdrew through its host; empty: none
};
static_assert(sizeof(LibraryAnswer) ==
              sizeof(std::int32_t) + sizeof(fe_sensor_event) + sizeof(fe_fault_record) + FE_DN_SIZE);

using Value = std::variant<std::int64_t, std::string>;

struct Difference {
  std::string field;
  Value a;
  Value b;
  bool operator==(const Difference&) const = default;
};

// The fields that differ, in the order of the record. Not compared are the time stamp,
// the bytes after the end of a text and the arcs after the end of an OID. A filter that
// rejects an event may have filled the record, so the records are compared if both
// builds reject the event. If only one of them does, that is the only difference.
std::vector<Difference> differences(const LibraryAnswer& a, const LibraryAnswer& b);

}  // namespace polaiga::engine
