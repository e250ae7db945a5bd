// Logs and sensors that other programs saved to files, for people who were sent such files and have no controller.
//
// A log: as `ipmitool sel writeraw FILE` saves it (16 bytes a record), as `ipmi-sel --hex-dump` prints it (a line a
// record), or the table that `ipmi-sel -v` prints, also with --output-event-state, -vv or --comma-separated-output. The
// first two are exact. The table tells neither numbers nor event data, and its times are taken as UTC: its sensors are
// found by name among those of the SDR file, so that is needed with it, and events of the same power supply that differ
// in event data only cannot be told apart. A table without the column "Event Direction" does not tell what is over, and
// is refused.
//
// Sensors: as `ipmitool sdr dump FILE` saves them, one SDR after the other.
#pragma once

#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "standard/sel_record.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// A file that is not what it should be. what() names the file, and the line or the byte.
struct BadSavedFile : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Reads a file of at most 16 MiB. Throws BadSavedFile.
std::string read_saved_file(const std::string& path);

// `name` is that of the file, for messages. `complain` is told what is left out, and why. Both throw BadSavedFile.
std::vector<SelRecord> parse_saved_log(std::string_view contents, const std::string& name,
                                       std::span<const Sensor> sensors,
                                       const std::function<void(const std::string&)>& complain);
std::vector<Sensor> parse_saved_sensors(std::string_view contents, const std::string& name,
                                        const std::function<void(const std::string&)>& complain);

}  // namespace polaiga::ipmi
