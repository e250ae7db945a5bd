#include "cases.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include "model/entities.h"

// Full host tables, with the rows in question first: the search ends there.
namespace {
template <std::size_t N>
constexpr void put(char (&field)[N], const char* text) {
  for (std::size_t i = 0; text[i] != '\0'; ++i) field[i] = text[i];
}

constexpr fe_sensor_map_row sensor_row(const char* sensor) {
  fe_sensor_map_row row{};
  put(row.sensor_name, sensor);
  put(row.dn, "sys/rack-unit-1/board/unit-1");
  put(row.descr_format, "%s: The temperature of the unit is %s: Check the cooling of the server");
  return row;
}

constexpr fe_nm_map_row node_row() {
  fe_nm_map_row row{};
  row.event_offset = 200;
  put(row.dn, "sys/rack-unit-1/nm-1");
  put(row.descr, "The node manager is lost: Check the firmware");
  return row;
}
}  // namespace

fe_sensor_map_row ent_drive_bp_map[FE_HOST_TABLE_ROWS] = {sensor_row("HDD_BP1_TEMP")};
int32_t ent_drive_bp_map_sz = FE_HOST_TABLE_ROWS;
fe_sensor_map_row ent_cmc_map[FE_HOST_TABLE_ROWS] = {sensor_row("CMC_TEMP")};
int32_t ent_cmc_map_sz = FE_HOST_TABLE_ROWS;
fe_nm_map_row ent_nm_map[FE_HOST_TABLE_ROWS] = {node_row()};
int32_t ent_nm_map_sz = FE_HOST_TABLE_ROWS;

// The time-zone file is a plain file, as on a controller, but not in the place
// that a controller has it in, which this machine need not have.
namespace {
class ZoneFile {
 public:
  ZoneFile() {
    const char* const directory = std::getenv("TMPDIR");
    path_ = std::string(directory != nullptr ? directory : "/tmp") + "/polaiga-timezone-XXXXXX";
    const int file = mkstemp(path_.data());
    if (file < 0) fail();
    close(file);
    write("Europe/Berlin");
  }
  ~ZoneFile() { unlink(path_.c_str()); }
  ZoneFile(const ZoneFile&) = delete;
  ZoneFile& operator=(const ZoneFile&) = delete;

  const char* path() const { return path_.c_str(); }
  void write(const char* zone) const {
    if (zone == nullptr) {
      unlink(path_.c_str());
      return;
    }
    std::ofstream file(path_);
    file << zone << '\n';
    if (!file.flush()) fail();
  }

 private:
  [[noreturn]] void fail() const {
    std::perror(path_.c_str());
    std::exit(1);
  }

  std::string path_;
};

ZoneFile& zone_file() {
  static ZoneFile file;
  return file;
}
}  // namespace

extern "C" std::FILE* fopen(const char* path, const char* mode) {
  using Open = std::FILE*(const char*, const char*);
  static auto* const real = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "fopen"));
  static const char* const zone_path = zone_file().path();
  return real(std::strcmp(path, "/mnt/jffs2/timezone") == 0 ? zone_path : path, mode);
}

namespace polaiga::bench {

fe_fault_filter* filter_of(const Case& c) {
  const engine::Entity* const entity = engine::find_entity(c.entity);
  if (entity == nullptr) {
    std::fprintf(stderr, "bench/cases.h: there is no filter for the entity \"%s\"\n", c.entity);
    std::exit(1);
  }
  return entity->filter;
}

void write_zone_file(const char* zone) { zone_file().write(zone); }

fe_sensor_event event_of(const Case& c) {
  fe_sensor_event event{};
  event.entity_id = static_cast<uint8_t>(c.entity_id);
  event.entity_instance = 1;
  event.event_offset = c.offset;
  event.event_state = c.state;
  event.reading_type = c.reading_type;
  std::strncpy(event.sensor_name, c.sensor, sizeof event.sensor_name - 1);
  return event;
}

namespace {
void stamp() {
  char zone[64] = "";
  if (std::FILE* file = std::fopen("/mnt/jffs2/timezone", "r")) {
    if (std::fscanf(file, "%63s", zone) != 1) zone[0] = '\0';
    std::fclose(file);
  }
  setenv("TZ", zone, 1);
  tzset();
  const std::time_t now = std::time(nullptr);
  char text[20];
  if (std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", std::localtime(&now)) == 0) std::abort();
}
}  // namespace

void first_stamp() { stamp(); }
__attribute__((noinline)) void bare_stamp() { stamp(); }

}  // namespace polaiga::bench
