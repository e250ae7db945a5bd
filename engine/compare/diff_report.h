// Writes the outcome of a comparison of two builds, as text or as JSON.
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

// An event and the line that it came from.
struct PlacedEvent {
  const std::string& file;  // to be shown
  std::uint64_t line;
  const SensorEvent& event;
};

// The first is of build A, the second of build B.
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

  // All return whole lines with their newlines. ended() is told the event at which a
  // build ended, or null if it ended after the last event.
  virtual std::string event(const PlacedEvent& event, std::span<const Difference> differences) const = 0;
  virtual std::string ended(const PlacedEvent* event, const Endings& endings) const = 0;
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
