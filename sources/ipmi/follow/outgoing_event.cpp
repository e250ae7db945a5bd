#include "follow/outgoing_event.h"

#include <algorithm>

#include "model/entities.h"
#include "report/json_text.h"

namespace polaiga::ipmi {
namespace {

// A name has so many bytes in the engine, and a character of more than one byte may become one of three.
std::string plain(std::string name) {
  std::ranges::replace_if(
      name, [](char c) { return static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7E; }, '?');
  return name;
}

std::string epoch_text(std::uint64_t epoch) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(16, '0');
  for (std::size_t i = text.size(); i-- > 0; epoch >>= 4U) text[i] = kDigits[epoch & 15U];
  return text;
}

}  // namespace

std::string record_event_id(std::uint64_t epoch, const SelBytes& record, int step) {
  return "sel:" + epoch_text(epoch) + ":" + hexadecimal(record) + "/" + std::to_string(step);
}

std::string reading_event_id(std::uint64_t epoch, std::uint64_t number, int step) {
  return "now:" + epoch_text(epoch) + ":" + std::to_string(number) + "/" + std::to_string(step);
}

std::string event_line(const std::string& id, const Target& target, const Step& step,
                       std::optional<engine::Moment> time) {
  nlohmann::ordered_json event;
  event["id"] = id;
  if (time) event["time"] = engine::format_moment(*time);
  event["entity"] = target.entity->name;
  event["sensor"] = plain(target.sensor);
  event["instance"] = target.instance;
  if (target.group != 0) event["group"] = target.group;
  event["entity_id"] = target.entity_id;
  event["offset"] = step.offset;
  event["state"] = step.state;
  return engine::json_text(event);
}

}  // namespace polaiga::ipmi
