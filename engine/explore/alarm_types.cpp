#include "explore/alarm_types.h"

#include <map>
#include <set>
#include <string>

#include "explore/catalog_forms.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

// Codes, in groups that are joined step by step.
class Groups {
 public:
  void add(std::uint32_t code) { first_.emplace(code, code); }

  void join(std::uint32_t one, std::uint32_t other) {
    add(one);
    add(other);
    const std::uint32_t to = first_.at(one);
    const std::uint32_t from = first_.at(other);
    for (auto& [code, first] : first_) {
      if (first == from) first = to;
    }
  }

  // Each code with all of its group, which ascend.
  std::map<std::uint32_t, std::set<std::uint32_t>> by_code() const {
    std::map<std::uint32_t, std::set<std::uint32_t>> groups;
    for (const auto& [code, first] : first_) groups[first].insert(code);
    std::map<std::uint32_t, std::set<std::uint32_t>> all;
    for (const auto& [code, first] : first_) all[code] = groups[first];
    return all;
  }

 private:
  std::map<std::uint32_t, std::uint32_t> first_;  // one code of the group, by code
};

Groups groups_of(std::span<const FoundFilter> filters) {
  std::set<std::uint32_t> reported;
  for (const FoundFilter& filter : filters) {
    for (const FoundFault& fault : filter.faults) {
      if (fault.reported) reported.insert(fault.code);
    }
  }
  Groups groups;
  for (const std::uint32_t code : reported) groups.add(code);
  for (const FoundFilter& filter : filters) {
    for (const FoundFault& fault : filter.faults) {
      for (const Behaviour& behaviour : fault.behaviours) {
        for (const auto& [code, events] : behaviour.supersedes) {
          if (reported.contains(code) && reported.contains(fault.code)) groups.join(fault.code, code);
        }
      }
    }
  }
  return groups;
}

bool can_end(const FoundFault& fault) {
  for (const Behaviour& behaviour : fault.behaviours) {
    if (!behaviour.clears.empty()) return true;
  }
  return false;
}

// What the fault is called, and what one of its records says that raises it.
std::string description_of(const FoundFault& fault) {
  std::string text = code_text(fault.code) + " " + fault.name + " (" + std::string(severity_word(fault.severity)) +
                     ", " + fault.cause + ")";
  for (const Behaviour& behaviour : fault.behaviours) {
    const auto texts = brief_texts(behaviour.raise_texts);
    if (!texts.empty()) return text + ": " + texts.front();
  }
  return text;
}

}  // namespace

AlarmTypes alarm_types(std::span<const FoundFilter> filters) {
  AlarmTypes types;
  for (const auto& [code, group] : groups_of(filters).by_code()) {
    std::string& qualifier = types.qualifiers[code];
    for (const std::uint32_t one : group) qualifier += (qualifier.empty() ? "" : "-") + code_text(one);
  }
  std::set<std::pair<AlarmTypeName, std::uint32_t>> described;
  for (const FoundFilter& filter : filters) {
    for (const FoundFault& fault : filter.faults) {
      if (!fault.reported) continue;
      const AlarmTypeName name{alarm_identity(standard_of(fault)), types.qualifier_of(fault.code)};
      AlarmType& type = types.inventory[name];
      type.severities.insert(fault.severity);
      type.will_clear |= can_end(fault);
      if (!described.emplace(name, fault.code).second) continue;
      type.description += (type.description.empty() ? "" : "; ") + description_of(fault);
    }
  }
  return types;
}

}  // namespace polaiga::engine
