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

// The fields that differ, under the names and in the order of model/fields.h, with
// the reserved bytes behind them. Fields of the record's event begin with "event.",
// those of the caller's with "caller_event.". The record's stamp is not compared,
// nor are bytes after the end of a text or arcs after the end of an OID. A filter
// that rejects an event may fill the record all the same. So the records of two
// rejections are compared, but not that of a rejection with that of a report.
std::vector<Difference> differences(const LibraryAnswer& a, const LibraryAnswer& b);

}  // namespace polaiga::engine
