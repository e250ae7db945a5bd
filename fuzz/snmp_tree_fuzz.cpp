// What a manager asks for may be any object identifier: it is answered from the tables, in their order, or not at all.
// The input is a row of questions: a byte that says what is asked (its lowest bit: whether the identifier itself
// counts), a byte with the number of arcs of the identifier, a byte with that of the end, and the arcs, each a byte, or
// four after a byte of 255.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "check.h"
#include "oids/oid.h"
#include "tables/object_tree.h"

namespace polaiga::fuzz {
namespace {

using namespace snmp;

constexpr std::size_t kMostAsked = 64;

// Three alarms of two objects, one of them out of service, and seven changes of which two are left out.
class Pictured {
 public:
  Pictured() {
    add(2, "sys/fan-1", engine::Severity::kMinor);
    add(5, "sys/fan-1", engine::Severity::kCritical);
    add(7, "sys/psu-1", engine::Severity::kWarning);
    view_.set_maintained({"sys/disk-1"});
    view_.read_all();
    changes_.follow("0123456789abcdef0123456789abcdef", 1, 7);
    cleared_.begin(7);
    cleared_.read_on(7);
  }

  const Tree& tree() const { return objects_.tree(); }

 private:
  void add(engine::ChangeNumber number, const std::string& dn, engine::Severity severity) {
    output::OutputAlarm alarm;
    alarm.number = alarm.fault = number;
    alarm.dn = dn;
    alarm.code = 395;
    alarm.severity = severity;
    alarm.since = alarm.created = 1741770740 + number;
    alarms_.emplace(number, alarm);
  }

  static engine::Feed read(engine::ChangeNumber after, std::size_t /*most*/) {
    engine::Feed feed;
    feed.through = std::max<engine::ChangeNumber>(after, 7);
    for (engine::ChangeNumber number = after + 1; number <= 7; ++number) {
      if (number == 3 || number == 6) continue;
      engine::StoredChange one;
      one.change.number = number;
      one.change.alarm = one.change.fault = number;
      one.change.at = 1741770740;
      one.change.fault_dn = "sys/fan-1/fault-F0395";
      feed.changes.push_back(one);
    }
    return feed;
  }

  Places places_{kDocumentationEnterprise};
  AlarmView::Alarms alarms_;
  AlarmView view_{alarms_};
  ChangeTable changes_{read};
  ClearedAlarms cleared_{read};
  ObjectTree objects_{places_, view_, changes_, cleared_, [] { return LedgerFacts{}; }, [] { return 0U; }};
};

class Questions {
 public:
  explicit Questions(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool is_over() const { return bytes_.empty(); }
  std::uint8_t byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return first;
  }
  Oid oid(std::size_t arcs) {
    Oid oid;
    for (std::size_t i = 0; i < std::min(arcs, kMostArcs); ++i) {
      std::uint32_t arc = byte();
      if (arc == 255) {
        arc = 0;
        for (int part = 0; part < 4; ++part) arc = arc << 8U | byte();
      }
      oid.push_back(arc);
    }
    return oid;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

void ask(const Tree& tree, Questions& questions) {
  const bool is_inclusive = (questions.byte() & 1U) != 0;
  const std::size_t arcs = questions.byte();
  const std::size_t end_arcs = questions.byte();
  const Oid oid = questions.oid(arcs);
  const Oid end = questions.oid(end_arcs);
  const Tree::Answer answer = tree.get(oid);
  const auto found = tree.next(oid, is_inclusive, end);
  if (found) {
    check(is_before(oid, found->oid) || (is_inclusive && found->oid == oid), "what comes next comes after it");
    check(end.empty() || is_before(found->oid, end), "what comes next comes before the end");
    check(found->oid.size() <= kMostArcs, "a name is short enough");
    const Tree::Answer there = tree.get(found->oid);
    check(there.value && *there.value == found->value, "what was found is there");
    check(found->value.text.size() <= kMostTextBytes, "a text is short enough");
    check(found->value.oid.size() <= kMostArcs, "a value is short enough");
    const auto again = tree.next(found->oid, true, {});
    check(again && again->oid == found->oid, "what was found is found again");
  }
  if (answer.value && is_inclusive && end.empty()) check(found && found->oid == oid, "what is there is found");
}

}  // namespace
}  // namespace polaiga::fuzz

// The engine's host tables take the place of the library's, which is meant.
extern "C" const char* __asan_default_options() {
  return "detect_odr_violation=0";
}  // NOLINT(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const polaiga::fuzz::Pictured kPictured;
  polaiga::fuzz::Questions questions({data, size});
  for (std::size_t i = 0; i < polaiga::fuzz::kMostAsked && !questions.is_over(); ++i) {
    polaiga::fuzz::ask(kPictured.tree(), questions);
  }
  return 0;
}
