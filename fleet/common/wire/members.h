// The members of a JSON object that a peer sent. Each is checked when it is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <simdjson.h>

#include "wire/message.h"

namespace polaiga::fleet {

inline constexpr std::size_t kMostIdBytes = 64;

// What is missing or wrong is thrown as BadMessage, which names the member.
class Members {
 public:
  // `path` is where the object stands in its message, as "record"; empty: it is the message itself. A member that comes
  // twice makes the object a bad one, since others could read the other one.
  explicit Members(const simdjson::dom::object& object, std::string path = {});

  bool has(std::string_view name) const;

  // UTF-8 without NUL.
  std::string text(std::string_view name, std::size_t most = kMostTextBytes) const;
  std::string text_or_empty(std::string_view name) const;
  std::string filled_text(std::string_view name, std::size_t most = kMostTextBytes) const;  // not empty

  std::int64_t number(std::string_view name, std::int64_t least) const;
  std::uint32_t number_of_32_bits(std::string_view name) const;
  std::uint64_t count(std::string_view name) const;
  bool flag(std::string_view name) const;
  Moment moment(std::string_view name) const;
  engine::Severity severity(std::string_view name) const;
  std::string ledger_id(std::string_view name) const;
  // The number of an alarm that is named by its ledger, which must be this one, and its number.
  ChangeNumber alarm(std::string_view name, std::string_view ledger_id) const;

  std::optional<Members> object(std::string_view name) const;
  simdjson::dom::array list(std::string_view name) const;

  // Complains of a member.
  [[noreturn]] void refuse(std::string_view name, const std::string& must_be) const;

 private:
  template <class Value>
  std::optional<Value> find(std::string_view name) const;
  std::string_view checked_text(std::string_view name, std::size_t most) const;

  simdjson::dom::object object_;
  std::string path_;
};

}  // namespace polaiga::fleet
