// Messages for tests, and the same with one member changed.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "wire/message.h"

namespace polaiga::fleet::test {

inline const Sender kRack{.site = "lab", .controller = "rack-1"};
inline const std::string kLedger = "0123456789abcdef0123456789abcdef";

template <class What>
What parse_as(Kind kind, const std::string& payload) {
  return std::get<What>(parse_message({kRack, kind}, payload));
}

// Why a message is a bad one; "none" when it is not.
inline std::string complaint(Kind kind, const std::string& payload) {
  try {
    parse_message({kRack, kind}, payload);
  } catch (const BadMessage& error) {
    return error.what();
  }
  return "none";
}

// The message with the member at this pointer, such as "/record/dn", set to `value`, which is JSON; empty: without it.
inline std::string with(const std::string& payload, const std::string& pointer, const std::string& value) {
  nlohmann::json message = nlohmann::json::parse(payload);
  const nlohmann::json::json_pointer at(pointer);
  if (!value.empty()) {
    message[at] = nlohmann::json::parse(value);
  } else {
    message[at.parent_pointer()].erase(at.back());
  }
  return message.dump();
}

// Members that must not be changed so, and what the complaint about each of them names.
struct Spoiled {
  const char* pointer;
  const char* value;
  const char* why;
};

template <std::size_t N>
void expect_complaints(Kind kind, const std::string& payload, const Spoiled (&cases)[N]) {
  ASSERT_EQ(complaint(kind, payload), "none");
  for (const auto& [pointer, value, why] : cases) {
    EXPECT_EQ(complaint(kind, with(payload, pointer, value)), why) << pointer << " " << value;
  }
}

}  // namespace polaiga::fleet::test
