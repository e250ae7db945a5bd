#include "compare/diff.h"

#include <memory>
#include <optional>

#include "base/input.h"
#include "base/interrupt.h"
#include "base/messages.h"
#include "base/printable.h"
#include "compare/answer.h"
#include "compare/diff_report.h"
#include "compare/worker.h"
#include "filter/host_tables.h"
#include "intake/event_source.h"
#include "model/entities.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kBatch = 512;  // events

std::unique_ptr<DiffReport> make_report(const DiffOptions& options) {
  const LibraryNames libraries{printable(options.a), printable(options.b)};
  if (options.json) return std::make_unique<JsonDiffReport>(libraries);
  return std::make_unique<TextDiffReport>(libraries);
}

Question question_of(const SensorEvent& line) {
  return {static_cast<std::uint32_t>(line.entity - entities().data()), line.event};
}

class Diff {
 public:
  Diff(const DiffOptions& options, StandardOutput& output)
      : output_(output),
        report_(make_report(options)),
        a_(options.a, options.tables, options.platform),
        b_(options.b, options.tables, options.platform) {}

  Status run(const std::vector<Input>& inputs) {
    Status status = kDone;
    for (const Input& input : inputs) {
      status = run(input);
      if (status != kDone) break;
    }
    if (status == kDone) status = end();
    output_.write(report_->summary(counts_));
    output_.flush();
    if (status != kDone) return status;
    if (counts_.bad_lines > 0) return kFailed;
    return counts_.differ > 0 ? kDiffers : kDone;
  }

 private:
  // An event that was read but not yet compared.
  struct Pending {
    std::uint64_t line;
    SensorEvent event;
  };

  Status run(const Input& input) {
    EventSource source(input);
    EventLine line;
    Status status = kDone;
    while (status == kDone) {
      if (source.may_wait()) {
        status = compare(input);
        output_.flush();
        if (status != kDone) break;
      }
      switch (source.next(line)) {
        case EventSource::Result::kInterrupted:
          return kInterrupted;
        case EventSource::Result::kFailed:
          complain(source.failure());
          compare(input);
          return kFailed;
        case EventSource::Result::kEnd:
          return compare(input);
        case EventSource::Result::kBlank:
          continue;
        case EventSource::Result::kLine:
          break;
      }
      if (line.event) {
        pending_.push_back({line.number, *line.event});
        if (pending_.size() == kBatch) status = compare(input);
      } else {
        ++counts_.bad_lines;
        complain(line.complaint_in(input.name()));
      }
    }
    return status;
  }

  // Compares the answers to all pending events and removes the events.
  Status compare(const Input& input) {
    std::vector<Question> batch;
    batch.reserve(pending_.size());
    for (const Pending& pending : pending_) batch.push_back(question_of(pending.event));
    a_.ask(batch);
    b_.ask(batch);
    Status status = interrupted() ? kInterrupted : kDone;
    for (const Pending& pending : pending_) {
      if (status != kDone) break;
      status = compare({input.name(), pending.line, pending.event});
    }
    pending_.clear();
    return status;
  }

  Status compare(const PlacedEvent& event) {
    const std::optional<LibraryAnswer> from_a = a_.answer();
    const std::optional<LibraryAnswer> from_b = b_.answer();
    if (interrupted()) return kInterrupted;
    ++counts_.events;
    if (!from_a || !from_b) {
      Endings endings;
      if (!from_a) endings[0] = a_.end();
      if (!from_b) endings[1] = b_.end();
      return tell_ended(&event, endings);
    }
    const std::vector<Difference> found = differences(*from_a, *from_b);
    if (found.empty()) return kDone;
    ++counts_.differ;
    output_.write(report_->event(event, found));
    return kDone;
  }

  Status tell_ended(const PlacedEvent* event, const Endings& endings) {
    if (event != nullptr) ++counts_.differ;
    output_.write(report_->ended(event, endings));
    return kDiffers;
  }

  // Ends both processes. A build may also fail while it is unloaded.
  Status end() {
    Endings endings{a_.end(), b_.end()};
    for (std::optional<Ending>& ending : endings) {
      if (!ending->by_signal && ending->number == kDone) ending.reset();
    }
    return endings[0] || endings[1] ? tell_ended(nullptr, endings) : kDone;
  }

  StandardOutput& output_;
  std::unique_ptr<DiffReport> report_;
  Worker a_;
  Worker b_;
  std::vector<Pending> pending_;
  DiffCounts counts_;
};

}  // namespace

Status diff(const DiffOptions& options, StandardOutput& output) {
  load_host_tables(
      tables_directory(options.tables));  // both workers load them, too, but a mistake in them is to be reported once
  std::vector<Input> inputs;
  for (const std::string& file : options.files) inputs.emplace_back(file);
  watch_for_interrupt();
  return Diff(options, output).run(inputs);
}

}  // namespace polaiga::engine
