// JSON objects and arrays as text. They are built as text at once: a replay prints
// many records, and a tree of values for each would take most of its time.
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <utility>

#include "report/json_text.h"

namespace polaiga::engine {

class JsonArray;

class JsonObject {
 public:
  JsonObject& add(std::string_view name, std::string_view value) {
    begin(name);
    add_json_text(text_, value);
    return *this;
  }

  template <std::integral T>
  JsonObject& add(std::string_view name, T value) {
    begin(name);
    if constexpr (std::same_as<T, bool>) {
      text_ += value ? "true" : "false";
    } else {
      text_ += std::to_string(value);
    }
    return *this;
  }

  JsonObject& add(std::string_view name, const JsonObject& value) {
    begin(name);
    text_ += value.text();
    return *this;
  }

  JsonObject& add(std::string_view name, const JsonArray& value);

  JsonObject& add_null(std::string_view name) {
    begin(name);
    text_ += "null";
    return *this;
  }

  // Adds all members of another object.
  JsonObject& add_members_of(const JsonObject& other) {
    if (other.text_.empty()) return *this;
    text_.append(1, text_.empty() ? '{' : ',').append(other.text_, 1);
    return *this;
  }

  std::string text() const { return text_.empty() ? "{}" : text_ + "}"; }
  std::string line() const { return text() + "\n"; }

 private:
  void begin(std::string_view name) {
    text_.append(1, text_.empty() ? '{' : ',').append(1, '"').append(name).append("\":");
  }

  std::string text_;  // without the brace at the end
};

class JsonArray {
 public:
  JsonArray& add(std::string_view value) {
    begin();
    add_json_text(text_, value);
    return *this;
  }

  template <std::integral T>
  JsonArray& add(T value) {
    begin();
    text_ += std::to_string(value);
    return *this;
  }

  JsonArray& add_null() {
    begin();
    text_ += "null";
    return *this;
  }

  JsonArray& add(const JsonObject& value) {
    begin();
    text_ += value.text();
    return *this;
  }

  std::string text() const { return text_.empty() ? "[]" : text_ + "]"; }

 private:
  void begin() { text_ += text_.empty() ? '[' : ','; }

  std::string text_;  // without the bracket at the end
};

inline JsonObject& JsonObject::add(std::string_view name, const JsonArray& value) {
  begin(name);
  text_ += value.text();
  return *this;
}

}  // namespace polaiga::engine
