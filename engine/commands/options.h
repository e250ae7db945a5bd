// Options whose values are read alike by all commands, and whose complaints are worded
// alike: what was typed, what is allowed, and what to type.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/quantities.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace polaiga::engine {

// Arguments that are not right, in words for the user.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An option as it is typed and as the help describes it.
struct OptionWords {
  std::string names;        // as in "-n,--lines"; complaints use the last one
  std::string placeholder;  // of its value, as in "N"
  std::string help;
};

// For complaints: what is allowed, as in "a whole number from 0 to 17", and one value
// that is.
struct Allowed {
  std::string what;
  std::string example;
};

// Takes the value, or answers false if it is not allowed.
using TakeValue = std::function<bool(const std::string& text)>;
CLI::Option* add_value_option(CLI::App& command, const OptionWords& words, const Allowed& allowed,
                              const TakeValue& take);

struct NumberRange {
  std::int64_t least;
  std::int64_t most;
  std::int64_t example;
};
CLI::Option* add_number_option(CLI::App& command, const OptionWords& words, const NumberRange& range,
                               const std::function<void(std::int64_t)>& take);

// A number of rows to print; more than this would not fit into memory.
inline constexpr std::int64_t kMostRows = 1'000'000'000;

CLI::Option* add_choice_option(CLI::App& command, const OptionWords& words, const std::vector<std::string>& choices,
                               const std::function<void(const std::string&)>& take);

// A name: neither empty nor another option.
CLI::Option* add_name_option(CLI::App& command, const OptionWords& words, const std::string& example,
                             std::string& name);

// Names that have their place after the command and its options.
CLI::Option* add_name(CLI::App& command, const std::string& placeholder, std::string& name, const std::string& help);
CLI::Option* add_names(CLI::App& command, const std::string& placeholder, std::vector<std::string>& names,
                       const std::string& help);

// A switch, which has no value.
CLI::Option* add_switch(CLI::App& command, const std::string& names, const std::string& help,
                        const std::function<void()>& take);
CLI::Option* add_switch(CLI::App& command, const std::string& names, const std::string& help, bool& on);

}  // namespace polaiga::engine
