// The topics of one controller.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace polaiga::mqtt {

// Whether a text may name a site or a controller: 1 to 64 letters, digits, "_", "." and "-".
bool is_topic_part(std::string_view text);

class Topics {
 public:
  // Both must be topic parts.
  Topics(const std::string& site, const std::string& controller);

  const std::string change;    // what happens; not retained
  const std::string alarms;    // the index of the pages; retained
  const std::string status;    // retained, and the will
  const std::string replayed;  // what was asked for with `replay`; not retained
  const std::string acted;     // what became of an `action`; not retained
  const std::string ack;       // from a collector
  const std::string replay;    // from anybody who may publish there
  const std::string action;    // of an operator of the fleet

  // A page of the alarms; retained.
  std::string page(std::size_t page) const { return alarms + "/" + std::to_string(page); }

 private:
  explicit Topics(const std::string& below);
};

}  // namespace polaiga::mqtt
