// A damaged ledger is replaced while the process is killed, at each of the moments between two changes of the files.
#include "ledger/carry_over.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "ledger/mark.h"
#include "support/ledger_fixture.h"

namespace {

// The process is killed at each moment, or at each of so many where that would take too long.
#ifdef POLAIGA_SHORT_WALK
constexpr int kEvery = 19;
#else
constexpr int kEvery = 1;
#endif

// Of this process: its change of this number is not made, because it is killed before. 0: it is not killed.
int killed_at = 0;
// Whether the file system knows hard links.
bool has_links = true;

void change() {
  if (killed_at > 0 && --killed_at == 0) ::kill(::getpid(), SIGKILL);
}

// The function of the C library in whose place ours stands.
template <class Function>
Function* library(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// Each changes files, for the engine, for SQLite or for the library of C++. They stand in the place of those of the C
// library, under whose names the linker finds them: the headers give some of these names to others, by the size of
// file offsets.
extern "C" {

[[gnu::visibility("default")]] ssize_t change_write(int fd, const void* data, std::size_t size) asm("write");
ssize_t change_write(int fd, const void* data, std::size_t size) {
  change();
  return library<ssize_t(int, const void*, std::size_t)>("write")(fd, data, size);
}

[[gnu::visibility("default")]] ssize_t change_pwrite(int fd, const void* data, std::size_t size, long at) asm("pwrite");
ssize_t change_pwrite(int fd, const void* data, std::size_t size, long at) {
  change();
  return library<ssize_t(int, const void*, std::size_t, long)>("pwrite")(fd, data, size, at);
}

[[gnu::visibility("default")]] ssize_t change_pwrite64(int fd, const void* data, std::size_t size,
                                                       std::int64_t at) asm("pwrite64");
ssize_t change_pwrite64(int fd, const void* data, std::size_t size, std::int64_t at) {
  change();
  return library<ssize_t(int, const void*, std::size_t, std::int64_t)>("pwrite64")(fd, data, size, at);
}

[[gnu::visibility("default")]] int change_ftruncate(int fd, long size) asm("ftruncate");
int change_ftruncate(int fd, long size) {
  change();
  return library<int(int, long)>("ftruncate")(fd, size);
}

[[gnu::visibility("default")]] int change_ftruncate64(int fd, std::int64_t size) asm("ftruncate64");
int change_ftruncate64(int fd, std::int64_t size) {
  change();
  return library<int(int, std::int64_t)>("ftruncate64")(fd, size);
}

[[gnu::visibility("default")]] int change_rename(const char* from, const char* to) asm("rename");
int change_rename(const char* from, const char* to) {
  change();
  return library<int(const char*, const char*)>("rename")(from, to);
}

[[gnu::visibility("default")]] int change_link(const char* from, const char* to) asm("link");
int change_link(const char* from, const char* to) {
  change();
  if (has_links) return library<int(const char*, const char*)>("link")(from, to);
  errno = EPERM;
  return -1;
}

[[gnu::visibility("default")]] int change_unlink(const char* path) asm("unlink");
int change_unlink(const char* path) {
  change();
  return library<int(const char*)>("unlink")(path);
}

[[gnu::visibility("default")]] int change_remove(const char* path) asm("remove");
int change_remove(const char* path) {
  change();
  return library<int(const char*)>("remove")(path);
}

}  // extern "C"

namespace polaiga::engine {
namespace {

using test::clears;
using test::kAll;
using test::LedgerWithAlarms;
using test::moves;
using test::raises;
using Rows = std::vector<std::string>;

constexpr const char* kParts[] = {"", "-wal", "-mark"};

// Six inputs, three of which have ids, with seven changes. Two faults are active, one of them with two reporters.
class KilledAmidReplacing : public test::LedgerFixture {
 protected:
  ~KilledAmidReplacing() override { has_links = true; }

  void SetUp() override {
    open(kAll);
    engine_->write({.record = {.dn = "o", .code = 395}, .sensor = "A", .at = 1001, .id = "first"});
    engine_->write({.record = {.dn = "o", .code = 395}, .sensor = "B", .at = 1002, .id = "second"});
    engine_->add({.record = {.dn = "p", .code = 395}, .sensor = "P", .at = 1003, .id = "third"});
    engine_->batch.filter_state = {{"fan 1", {3}}};
    engine_->write();
    engine_->write(moves("P", "p", 395, 396, 1004));
    engine_->add(raises("Q", "q", 395, 1005));
    engine_->write();
    engine_->write(clears("Q", "q", 395, 1006));
    faults_ = test::texts_of(engine_->alarms.in_order());
    id_ = engine_->ledger.id();
    ASSERT_EQ(faults_.size(), 2U);
  }

  void sql(const std::string& harm) const {
    Database(path_, Access::kReadWrite).exec("PRAGMA writable_schema = ON; " + harm);
  }

  // The engine found its ledger damaged.
  void mark_damaged() const {
    MarkFile(path_).write({.ledger_id = id_, .last_sequence = 6, .last_change = 7, .is_damaged = true, .process = 1});
  }

  // The files as they are now: those that a killed engine leaves, if it has not been closed.
  void copy_to(const test::TempDir& dir) const {
    for (const char* part : kParts) {
      if (std::filesystem::exists(path_ + part)) {
        std::filesystem::copy_file(path_ + part, dir.file("ledger.db") + part);
      }
    }
  }

  // Starts an engine in a process that is killed before its change of this number. Answers whether it was.
  static bool is_killed(const std::string& path, int at) {
    std::fflush(nullptr);
    const int pid = ::fork();
    if (pid == 0) {
      killed_at = at;
      try {
        const Ledger ledger(path, kAll, 2000);
        ::_exit(0);
      } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        ::_exit(1);
      }
    }
    int status = -1;
    ::waitpid(pid, &status, 0);
    if (WIFSIGNALED(status)) return true;
    EXPECT_EQ(status, 0);
    return false;
  }

  // The next start has lost nothing, whatever the killed ones had come to, and gives no number again.
  void expect_nothing_lost(const test::TempDir& dir) const {
    const std::string path = dir.file("ledger.db");
    {
      LedgerWithAlarms engine(path, kAll, 3000);
      EXPECT_EQ(engine.ledger.last_sequence(), 6);
      EXPECT_EQ(engine.ledger.last_change(), 7);
      EXPECT_EQ(test::texts_of(engine.alarms.in_order()), faults_);
      EXPECT_EQ(engine.ledger.find("first", InputKind::kEvent), std::optional<Sequence>(1));
      EXPECT_EQ(engine.ledger.find("second", InputKind::kEvent), std::optional<Sequence>(2));
      EXPECT_EQ(engine.ledger.find("third", InputKind::kEvent), std::optional<Sequence>(3));
      EXPECT_EQ(test::rows(path, "SELECT slot, seq FROM filter_state"), Rows{"fan 1 3"});
      EXPECT_NE(engine.ledger.id(), id_);
      EXPECT_EQ(engine.write(raises("S", "s", 395, 3001)), 7);
      EXPECT_EQ(engine.ledger.last_change(), 8);
    }
    const Ledger again(path, kAll, 3002);
    EXPECT_EQ(again.news(), Rows{});
    EXPECT_EQ(again.last_sequence(), 7);
    EXPECT_EQ(again.last_change(), 8);
    expect_kept(dir);
  }

  // The damaged ledger is still there with all that it had, and nothing is left of how the new one was made.
  void expect_kept(const test::TempDir& dir) const {
    int kept = 0;
    for (const auto& file : std::filesystem::directory_iterator(dir.path())) {
      const std::string name = file.path().filename();
      EXPECT_THAT(name, testing::MatchesRegex("ledger\\.db(-wal|-shm|-mark)?|ledger\\.db\\.damaged-.*"));
      if (!name.starts_with("ledger.db.damaged-") || name.ends_with("-wal") || name.ends_with("-shm")) continue;
      kept += has_all(file.path()) ? 1 : 0;
    }
    EXPECT_GE(kept, 1);
  }

  bool has_all(const std::string& aside) const {
    try {
      return test::rows(aside, "SELECT id FROM ledger") == Rows{id_} &&
             test::rows(aside, "SELECT seq FROM event") == Rows{"1", "2", "3", "4", "5", "6"} &&
             test::rows(aside, "SELECT count(*) FROM change") == Rows{"7"};
    } catch (const SqlError&) {
      return false;
    }
  }

  // Kills one start at each moment, each time with the files as they are now; and then starts one after the other, each
  // later than the one before, with the files that those left.
  void kill_everywhere() const {
    int kills = 0;
    int moment = 1;
    for (bool killed = true; killed; moment += kEvery, ++kills) {
      SCOPED_TRACE("killed before change " + std::to_string(moment));
      const test::TempDir dir;
      copy_to(dir);
      killed = is_killed(dir.file("ledger.db"), moment);
      expect_nothing_lost(dir);
      if (HasFailure()) return;
    }
    EXPECT_GT(moment, 50);
    const test::TempDir dir;
    copy_to(dir);
    for (int at = 1; is_killed(dir.file("ledger.db"), at); at += 10) {
    }
    expect_nothing_lost(dir);
    std::printf("killed at %d moments\n", kills - 1);
  }

  Rows faults_;
  std::string id_;
};

// The engine was killed as well when it had found the damage, or somebody was reading: all is in the log.
TEST_F(KilledAmidReplacing, WithALog) {
  mark_damaged();
  kill_everywhere();
}

TEST_F(KilledAmidReplacing, WithALogButNoHardLinks) {
  has_links = false;
  mark_damaged();
  kill_everywhere();
}

TEST_F(KilledAmidReplacing, WithoutALog) {
  engine_.reset();
  mark_damaged();
  kill_everywhere();
}

// This damage is found by the start itself, which has then brought the log into the file.
TEST_F(KilledAmidReplacing, WithATableThatIsGone) {
  sql("DROP TABLE step");
  kill_everywhere();
}

}  // namespace
}  // namespace polaiga::engine
