#include "commands/replay.h"

#include <unistd.h>

#include <memory>
#include <utility>

#include "base/input.h"
#include "base/interrupt.h"
#include "base/messages.h"
#include "core/recorder.h"
#include "filter/alarm_profile_file.h"
#include "filter/host_tables.h"
#include "intake/event_source.h"
#include "report/json_replay_report.h"
#include "report/kept_records.h"
#include "report/progress.h"
#include "report/text_replay_report.h"

namespace polaiga::engine {
namespace {

std::unique_ptr<ReplayReport> make_report(const ReplayOptions& options, const StandardOutput& output) {
  if (options.json) return std::make_unique<JsonReplayReport>();
  return std::make_unique<TextReplayReport>(wants_colour(options.colour, output), output.width());
}

// Bytes that progress is measured by; 0 when it is not to be shown.
std::uint64_t bytes_to_show(const ReplayOptions& options, const std::vector<Input>& inputs) {
  if (::isatty(STDERR_FILENO) != 1 || options.log != Log::kOff) return 0;
  std::uint64_t bytes = 0;
  for (const Input& input : inputs) {
    if (!input.is_regular()) return 0;
    bytes += input.size();
  }
  return bytes;
}

class Replay {
 public:
  Replay(const ReplayOptions& options, AlarmProfile profile, StandardOutput& output, std::uint64_t bytes_in_all)
      : strict_(options.strict),
        output_(output),
        report_(make_report(options, output)),
        progress_(bytes_in_all, clock_),
        recorder_({.platform = options.platform, .log = options.log, .most_in_batch = 1}, clock_) {
    recorder_.use_profile(std::move(profile));
  }

  Status run(const std::vector<Input>& inputs) {
    Status status = kDone;
    for (const Input& input : inputs) {
      status = run(input);
      if (status != kDone) break;
    }
    progress_.hide();
    output_.write(report_->summary(recorder_.alarms(), records_, counts_));
    output_.flush();
    if (status == kDone && counts_.bad_lines > 0) status = kBadLines;
    return status;
  }

 private:
  Status run(const Input& input) {
    EventSource source(input);
    EventLine line;
    while (!interrupted()) {
      if (source.may_wait()) output_.flush();
      const auto result = source.next(line);
      progress_.update(bytes_before_ + source.bytes_taken(), counts_.events);
      switch (result) {
        case EventSource::Result::kInterrupted:
          return kInterrupted;
        case EventSource::Result::kFailed:
          complain(source.failure());
          return kFailed;
        case EventSource::Result::kEnd:
          bytes_before_ += source.bytes_taken();
          return kDone;
        case EventSource::Result::kBlank:
          continue;
        case EventSource::Result::kLine:
          break;
      }
      if (line.event) {
        handle(std::move(*line.event));
      } else {
        ++counts_.bad_lines;
        complain(line.complaint_in(input.name()));
        if (strict_) return kBadLines;
      }
    }
    return kInterrupted;
  }

  void handle(SensorEvent event) {
    ++counts_.events;
    const RecordedInput& input = *recorder_.record(std::move(event)).input;
    if (input.reported || !input.changes.empty()) {
      records_.keep(input, recorder_.alarms());
      print(input);
    } else {
      ++counts_.of_no_interest;
    }
    if (recorder_.is_full()) recorder_.commit();
  }

  void print(const RecordedInput& input) {
    const std::string text = report_->input(input);
    if (output_.is_terminal()) progress_.hide();
    output_.write(text);
    if (output_.is_terminal()) output_.flush();
  }

  void complain(const std::string& what) {
    progress_.hide();
    engine::complain(what);
  }

  bool strict_;
  StandardOutput& output_;
  std::unique_ptr<ReplayReport> report_;
  SystemClock clock_;
  Progress progress_;
  Recorder recorder_;
  KeptRecords records_;
  LineCounts counts_;
  std::uint64_t bytes_before_ = 0;  // of the files that are done with
};

}  // namespace

Status replay(const ReplayOptions& options, StandardOutput& output) {
  const auto tables = tables_directory(options.tables);
  load_host_tables(tables);
  AlarmProfile profile = read_alarm_profile(tables);
  std::vector<Input> inputs;
  for (const std::string& file : options.files) inputs.emplace_back(file);
  watch_for_interrupt();
  StandardOutput::divert(options.log == Log::kDebug ? Others::kToStandardError : Others::kDiscarded);
  return Replay(options, std::move(profile), output, bytes_to_show(options, inputs)).run(inputs);
}

}  // namespace polaiga::engine
