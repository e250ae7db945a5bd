// Linked into a copy of the program, makes it fail where a test wants it to. The environment says where:
//   POLAIGA_FAIL_ALLOCATION   The number of the allocation that fails, of the program and of SQLite together, from the
//                             beginning of main().
//   POLAIGA_FAIL_ALLOCATIONS  The number of the first of those that fail; all later ones do, too.
//   POLAIGA_ALLOCATIONS       A file to which the number of all allocations is written at the end.
//   POLAIGA_FAULTS            A directory. While it has a file "reads", nothing can be read from the ledger; while it
//                             has a file "room", the disk has no room for the ledger's file, but for its log; while it
//                             has a file "memory", SQLite finds no memory when it writes to the log.
#include <sqlite3.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

namespace {

std::size_t number_in(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? std::strtoul(value, nullptr, 10) : 0;
}

// What is made before main() begins belongs to others, and nothing has been done then.
bool is_counting = false;
std::size_t number = 0;

bool next_fails() {
  if (!is_counting) return false;
  static const std::size_t one = number_in("POLAIGA_FAIL_ALLOCATION");
  static const std::size_t first = number_in("POLAIGA_FAIL_ALLOCATIONS");
  ++number;
  return number == one || (first > 0 && number >= first);
}

bool has_fault(const char* name) {
  const char* const directory = std::getenv("POLAIGA_FAULTS");
  char path[4096];  // without an allocation, which could fail
  return directory != nullptr && std::snprintf(path, sizeof path, "%s/%s", directory, name) > 0 &&
         ::access(path, F_OK) == 0;
}

// SQLite's memory.
sqlite3_mem_methods memory;

void* allocate(int size) { return next_fails() ? nullptr : memory.xMalloc(size); }
void* reallocate(void* old, int size) { return next_fails() ? nullptr : memory.xRealloc(old, size); }

// SQLite's files: the methods are those of the system, but for reading and writing. The ledger's file has other ones
// than its log.
struct Methods {
  const sqlite3_io_methods* system = nullptr;
  sqlite3_io_methods faulty = {};
};
Methods ledger_file;
Methods ledger_log;
sqlite3_vfs files;
const sqlite3_vfs* system_files = nullptr;

template <Methods& methods>
int read_file(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
  return has_fault("reads") ? SQLITE_IOERR_READ : methods.system->xRead(file, data, size, offset);
}

int write_ledger(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  return has_fault("room") ? SQLITE_FULL : ledger_file.system->xWrite(file, data, size, offset);
}

int write_log(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  return has_fault("memory") ? SQLITE_NOMEM : ledger_log.system->xWrite(file, data, size, offset);
}

template <Methods& methods>
void make_faulty(sqlite3_file* file) {
  if (methods.system == nullptr) {
    methods.system = file->pMethods;
    methods.faulty = *file->pMethods;
    methods.faulty.xRead = read_file<methods>;
  }
  if (file->pMethods != methods.system) std::abort();
  file->pMethods = &methods.faulty;
}

int open_file(sqlite3_vfs* /*vfs*/, const char* name, sqlite3_file* file, int flags, int* flags_out) {
  const int code = system_files->xOpen(const_cast<sqlite3_vfs*>(system_files), name, file, flags, flags_out);
  if (code != SQLITE_OK) return code;
  if ((flags & SQLITE_OPEN_WAL) != 0) {
    make_faulty<ledger_log>(file);
    ledger_log.faulty.xWrite = write_log;
  }
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0) {
    make_faulty<ledger_file>(file);
    ledger_file.faulty.xWrite = write_ledger;
  }
  return code;
}

[[gnu::constructor]] void install() {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &memory);
  sqlite3_mem_methods failing = memory;
  failing.xMalloc = allocate;
  failing.xRealloc = reallocate;
  sqlite3_config(SQLITE_CONFIG_MALLOC, &failing);
  system_files = sqlite3_vfs_find(nullptr);
  files = *system_files;
  files.zName = "faulty";
  files.xOpen = open_file;
  sqlite3_vfs_register(&files, 1);
}

}  // namespace

// All forms but those with an alignment, which nothing here uses: the sanitizers have forms of their own, and they do
// not allow that one form takes the memory and another gives it back.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return next_fails() ? nullptr : std::malloc(size > 0 ? size : 1);
}
void* operator new(std::size_t size) {
  void* const memory_of_it = ::operator new(size, std::nothrow);
  if (memory_of_it == nullptr) throw std::bad_alloc();
  return memory_of_it;
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return ::operator new(size, tag); }
void* operator new[](std::size_t size) { return ::operator new(size); }

void operator delete(void* freed) noexcept { std::free(freed); }
void operator delete(void* freed, std::size_t /*size*/) noexcept { std::free(freed); }
void operator delete(void* freed, const std::nothrow_t& /*tag*/) noexcept { std::free(freed); }
void operator delete[](void* freed) noexcept { std::free(freed); }
void operator delete[](void* freed, std::size_t /*size*/) noexcept { std::free(freed); }
void operator delete[](void* freed, const std::nothrow_t& /*tag*/) noexcept { std::free(freed); }

// An engine that is told to stop sets itself a time of five seconds. On a slow machine what it does may take longer,
// and a test wants to see what it does, so it has two minutes here.
extern "C" unsigned int alarm(unsigned int seconds) noexcept {
  const itimerval time{.it_interval = {}, .it_value = {.tv_sec = seconds > 0 ? 120 : 0, .tv_usec = 0}};
  ::setitimer(ITIMER_REAL, &time, nullptr);
  return 0;
}

int program_main(int argc, char** argv);

int main(int argc, char** argv) {
  is_counting = true;
  const int status = program_main(argc, argv);
  is_counting = false;
  if (const char* const file = std::getenv("POLAIGA_ALLOCATIONS"); file != nullptr) std::ofstream(file) << number;
  return status;
}
