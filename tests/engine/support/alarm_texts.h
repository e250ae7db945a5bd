// Changes and active faults as short texts, so that a test names all that it
// expects in one literal; and what holds for the changes of any run.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "alarms/alarms.h"

namespace polaiga::engine::test {

using Texts = std::vector<std::string>;

// "3 refreshed dn/fault-F0395 #1 alarm 1 minor>minor shown 3 by 2": the change's
// number and kind, the fault with the change that raised it, its alarm with the
// severity before and after, the input whose record is shown, and how many report
// the fault. " other 2" comes last, if there is another alarm.
inline std::string text_of(const Change& change) {
  std::string text = std::to_string(change.number) + " " + std::string(change_word(change.kind)) + " " +
                     change.fault_dn + " #" + std::to_string(change.fault) + " alarm " + std::to_string(change.alarm) +
                     " " + std::string(severity_word(change.before)) + ">" + std::string(severity_word(change.after)) +
                     " shown " + std::to_string(change.shown) + " by " + std::to_string(change.reporters);
  if (change.other != 0) text += " other " + std::to_string(change.other);
  return text;
}

inline Texts texts_of(const std::vector<Change>& changes) {
  Texts texts;
  for (const Change& change : changes) texts.push_back(text_of(change));
  return texts;
}

// "dn/fault-F0395 #1 alarm 1 minor shown 3 count 2 of A,B": as above, with the
// count of records and the sensors that report the fault.
inline std::string text_of(const ActiveFault& fault) {
  std::string text = fault.fault_dn + " #" + std::to_string(fault.fault) + " alarm " + std::to_string(fault.alarm) +
                     " " + std::string(severity_word(fault.severity)) + " shown " + std::to_string(fault.shown) +
                     " count " + std::to_string(fault.count) + " of ";
  for (const Report& report : fault.reports) {
    if (&report != &fault.reports.front()) text += ",";
    text += report.reporter.sensor;
  }
  return text;
}

inline Texts active_texts(const Alarms& alarms) {
  Texts texts;
  for (const ActiveFault* fault : alarms.in_order()) texts.push_back(text_of(*fault));
  return texts;
}

// Follows the changes of a run from its begin and complains about any that does
// not go on from those before it.
class ChangeWatch {
 public:
  // All that one input made; `alarms` is as it was left.
  void follow(const std::vector<Change>& changes, Sequence sequence, Moment at, const Alarms& alarms) {
    for (const Change& change : changes) follow(change, sequence, at);
    check(alarms);
  }

  // Takes up what was active when the run began.
  void begin_with(const Alarms& alarms) {
    last_ = alarms.last_change();
    for (const ActiveFault* fault : alarms.in_order()) severity_[fault->alarm] = fault->severity;
  }

 private:
  void follow(const Change& change, Sequence sequence, Moment at) {
    EXPECT_EQ(change.number, ++last_) << "numbers have no gaps";
    EXPECT_EQ(change.sequence, sequence);
    EXPECT_EQ(change.at, at);
    EXPECT_LE(change.fault, change.number);
    if (change.kind != ChangeKind::kMerged) {
      EXPECT_LE(change.alarm, change.fault) << "an alarm begins with its first fault: " << text_of(change);
    }
    EXPECT_FALSE(over_.contains(change.alarm)) << "goes on after its end: " << text_of(change);
    const auto before = severity_.find(change.alarm);
    const bool begins = change.alarm == change.number;
    EXPECT_EQ(begins, before == severity_.end()) << text_of(change);
    EXPECT_EQ(change.before, begins ? Severity::kCleared : before->second) << text_of(change);
    if (change.after == Severity::kCleared) {
      severity_.erase(change.alarm);
      over_.insert(change.alarm);
    } else {
      severity_[change.alarm] = change.after;
    }
  }

  void check(const Alarms& alarms) const {
    const AlarmCounts& counts = alarms.counts();
    EXPECT_EQ(counts.raised, counts.cleared + counts.superseded + counts.withdrawn + alarms.size());
    EXPECT_EQ(alarms.last_change(), last_);
    std::map<ChangeNumber, Severity> active;
    std::size_t reports = 0;
    for (const ActiveFault* fault : alarms.in_order()) {
      EXPECT_TRUE(active.emplace(fault->alarm, fault->severity).second) << "two faults of alarm " << fault->alarm;
      EXPECT_FALSE(fault->reports.empty()) << fault->fault_dn;
      reports += fault->reports.size();
    }
    EXPECT_EQ(active, severity_) << "the alarms that are active are not those that the changes tell of";
    EXPECT_EQ(alarms.reports(), reports);
  }

  ChangeNumber last_ = 0;
  std::map<ChangeNumber, Severity> severity_;  // of the active alarms
  std::set<ChangeNumber> over_;
};

}  // namespace polaiga::engine::test
