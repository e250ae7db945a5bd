// What a build of the library answers to an event, and how the answers of two
// builds differ.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace polaiga::engine {

// Is passed between processes as it is.
struct LibraryAnswer {
  std::int32_t result = 0;
  fe_sensor_event event = {};       // the caller's, after the call
  fe_fault_record record = {};      // zero where the filter wrote nothing
  char withdrawn[FE_DN_SIZE] = {};  // DN of the fault that the host was told is over; empty: none
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

// In the order of the record. The time stamp is left out, and what does not
// count: bytes behind a text, arcs behind an OID. A filter that rejects an event
// may fill the record all the same, so the records of two rejections count, but
// not those of a rejection and a report.
std::vector<Difference> differences(const LibraryAnswer& a, const LibraryAnswer& b);

}  // namespace polaiga::engine
