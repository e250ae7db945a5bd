// Tests of a filter, through the shipped library: events are literal, and so is
// every field that the record is to have afterwards. What a test does not list
// must still be the pattern that the record was filled with.
#pragma once

#include <gtest/gtest.h>
#include <polaiga/filters.h>
#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/host.h"
#include "support/library.h"

namespace polaiga::test {

// An event. Fields that tests seldom set have values that are noticed when they get lost.
struct Event {
  const char* sensor = "";
  std::int32_t offset = 0;
  std::int32_t state = 0;
  std::int32_t instance = 1;
  std::uint8_t entity_id = 0x1D;
  std::uint8_t entity_subtype = 0x53;
  std::int32_t group = 0x0A0B0C0D;
  std::uint32_t reading_type = FE_READING_THRESHOLD;
};

// The event's 52 bytes; reserved bytes are 0x5E. A name of 20 or more characters
// fills its field without a NUL.
fe_sensor_event bytes_of(const Event& event);

// What a filter is expected to write. A field without a value must not be written, and a
// text field must not be written behind the NUL of its text.
struct Written {
  std::optional<std::uint8_t> entity_id = {};
  std::optional<std::uint8_t> entity_subtype = {};
  std::optional<std::int32_t> entity_instance = {};
  std::optional<std::int32_t> event_state = {};
  std::optional<std::uint32_t> fault_key = {};
  std::optional<std::string> dn = {};
  std::optional<std::string> fault_dn = {};
  std::optional<std::string> rn = {};
  std::optional<std::string> code_text = {};
  std::optional<std::vector<std::uint32_t>> oid = {};
  std::optional<std::uint8_t> oid_len = {};
  std::optional<std::string> descr = {};
  std::optional<std::string> created = {};
  std::optional<std::uint32_t> created_time = {};
  std::optional<std::uint8_t> disposition = {};
  std::optional<std::uint32_t> cause_id = {};
  std::optional<std::uint32_t> clear_cause_id = {};
  std::optional<std::string> cause = {};
  std::optional<std::string> clear_cause = {};
  std::optional<std::uint32_t> code = {};
  std::optional<std::uint32_t> clear_code = {};
  std::optional<std::string> name = {};
  // The filter wrote a longer description first, so that its end may remain behind the NUL.
  bool descr_was_longer = false;
};

// A record in which every byte is 0xA5.
fe_fault_record patterned_record();

// Compares every byte of the record. `before` is the record that the filter was given.
void expect_record(const Event& event, const Written& written, const fe_fault_record& got,
                   const fe_fault_record& before = patterned_record());

struct Outcome {
  std::int32_t result;
  fe_fault_record record;
  fe_sensor_event event;  // as the filter left it
};

// A test of one filter. Every test loads the library anew and begins with a fresh host.
class FilterTest : public ::testing::Test {
 protected:
  explicit FilterTest(const char* filter);

  // Sends an event with a patterned record, or one made by the test.
  Outcome send(const Event& event, const fe_fault_record& record = patterned_record());

  // Sends an event and checks result, record and that the event was only read.
  void expect(const Event& event, std::int32_t result, const Written& written,
              const fe_fault_record& before = patterned_record());

  // Checks that each of the null arguments is answered with -1 and that nothing is written.
  void expect_null_arguments_rejected();

  const Library& library() const { return library_; }
  fe_fault_filter* filter() const { return filter_; }

 private:
  Library library_;
  fe_fault_filter* filter_;
};

}  // namespace polaiga::test
