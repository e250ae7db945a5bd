// Which active alarms a reader of the page wants to see, and in which order.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "http/target.h"
#include "ledger/reader.h"

namespace polaiga::web {

// What the address says. A value that means nothing counts as none: an address that somebody has typed or shortened
// still shows the page. The same words are read by files/choice.js.
struct Choice {
  std::string text;      // found in DN, code, name, description, sensor or person, in any letters
  std::string severity;  // "minor": that one; "minor-up": that one and worse; "": any
  std::string state;     // "new" and so on; "": those that are not silenced
  std::string under;     // a DN: this object or fault and all below it
  std::string order;     // "newest" and so on; "": the worst first, and of these the newest
  std::size_t skip = 0;

  bool is_filtered() const { return !text.empty() || !severity.empty() || !state.empty() || !under.empty(); }
};

// What a list offers: the word in the address, and what the reader is shown. The first one stands for none.
struct Option {
  std::string_view word;
  std::string_view label;
};
std::span<const Option> severity_options();
std::span<const Option> state_options();
std::span<const Option> order_options();

Choice read_choice(const Target& target);

// The rows that are wanted, in their order. They are those of `rows`.
std::vector<const engine::ActiveRow*> chosen(const Choice& choice, const std::vector<engine::ActiveRow>& rows,
                                             engine::Moment now);

// Whether nobody has answered the alarm yet.
bool is_new(const engine::ActiveRow& row);

// Who gave the alarm its state; "" when nobody did.
std::string_view person_of(const engine::ActiveRow& row);

}  // namespace polaiga::web
