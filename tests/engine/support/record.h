// Records for tests of what the engine does with them.
#pragma once

#include <polaiga/records.h>

#include <cstdio>
#include <string>

namespace polaiga::engine::test {

struct RecordOf {
  const char* dn = "sys/rack-unit-1/fan-module-1-3/fan-1";
  std::uint32_t code = 395;
  std::uint32_t clear_code = 0;
  std::int32_t state = 1;
  const char* descr = "FAN3_TACH1: slow : Check it ";
};

template <std::size_t N>
void fill(char (&field)[N], const std::string& text) {
  std::snprintf(field, N, "%s", text.c_str());
}

inline fe_fault_record make_record(const RecordOf& of) {
  fe_fault_record record = {};
  record.event.event_state = of.state;
  fill(record.dn, of.dn);
  char code[16];
  std::snprintf(code, sizeof code, "F%04u", of.code);
  fill(record.code_text, code);
  fill(record.fault_dn, std::string(of.dn) + "/fault-" + code);
  fill(record.descr, of.descr);
  record.code = of.code;
  record.clear_code = of.clear_code;
  return record;
}

}  // namespace polaiga::engine::test
