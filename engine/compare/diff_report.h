// What a comparison of two builds tells, whatever the form.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "compare/answer.h"
#include "compare/worker.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

// An event, with the line that it came from.
struct PlacedEvent {
  const std::string& file;  // for people
  std::uint64_t line;
  const SensorEvent& event;
};

// Of A and of B, in this order.
using LibraryNames = std::array<std::string, 2>;
using Endings = std::array<std::optional<Ending>, 2>;

struct DiffCounts {
  std::uint64_t events = 0;
  std::uint64_t differ = 0;
  std::uint64_t bad_lines = 0;
};

class DiffReport {
 public:
  virtual ~DiffReport() = default;

  // Whole lines, with their newlines.
  virtual std::string event(const PlacedEvent& event, std::span<const Difference> differences) const = 0;
  virtual std::string ended(const PlacedEvent* event, const Endings& endings) const = 0;  // null: after the last event
  virtual std::string summary(const DiffCounts& counts) const = 0;
};

class TextDiffReport : public DiffReport {
 public:
  explicit TextDiffReport(LibraryNames libraries) : libraries_(std::move(libraries)) {}

  std::string event(const PlacedEvent& event, std::span<const Difference> differences) const override;
  std::string ended(const PlacedEvent* event, const Endings& endings) const override;
  std::string summary(const DiffCounts& counts) const override;

 private:
  LibraryNames libraries_;
};

class JsonDiffReport : public DiffReport {
 public:
  explicit JsonDiffReport(LibraryNames libraries) : libraries_(std::move(libraries)) {}

  std::string event(const PlacedEvent& event, std::span<const Difference> differences) const override;
  std::string ended(const PlacedEvent* event, const Endings& endings) const override;
  std::string summary(const DiffCounts& counts) const override;

 private:
  LibraryNames libraries_;
};

}  // namespace polaiga::engine
