#include "compare/worker.h"

#include <elf.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/interrupt.h"
#include "base/printable.h"

namespace polaiga::engine {
namespace {

constexpr const char* kProgram = "/proc/self/exe";
constexpr const char* kName = "polaiga";  // the beginning of its error messages

[[noreturn]] void fail(const std::string& library, const std::string& what) {
  throw std::runtime_error(library + ": " + what);
}

// The part of an ELF header that tells for which machine the file is: class, byte
// order and machine. It is the same for 32 and for 64 bits.
struct Header {
  std::array<unsigned char, EI_NIDENT> ident;
  Elf32_Half type;
  Elf32_Half machine;
};

std::optional<Header> read_header(int fd) {
  Header header{};
  if (!read_all(fd, &header, sizeof header)) return std::nullopt;
  if (std::memcmp(header.ident.data(), ELFMAG, SELFMAG) != 0) return std::nullopt;
  return header;
}

// The loader silently skips a file for another machine, and would load the program's
// own library in its place. So this checks the file first.
void check_library(const std::string& path, const std::string& name) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status = {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
    fail(name, std::string("cannot open: ") + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) fail(name, "is not a regular file");
  const auto header = read_header(file.get());
  if (!header || header->type != ET_DYN) fail(name, "is not a shared library");
  const Descriptor program(::open(kProgram, O_RDONLY | O_CLOEXEC));
  const auto own = read_header(program.get());
  if (!own || header->machine != own->machine || header->ident[EI_CLASS] != own->ident[EI_CLASS] ||
      header->ident[EI_DATA] != own->ident[EI_DATA]) {
    fail(name, "is built for another machine");
  }
}

// A temporary directory with nothing but a link to the library, under the name that
// the loader looks for.
class LibraryDirectory {
 public:
  LibraryDirectory() {
    std::error_code error;
    std::string name = std::filesystem::temp_directory_path(error) / "polaiga-XXXXXX";
    if (error) throw std::system_error(error, "no directory for temporary files");
    if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
  }
  ~LibraryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  LibraryDirectory(const LibraryDirectory&) = delete;
  LibraryDirectory& operator=(const LibraryDirectory&) = delete;

  void hold(const std::string& library) const {
    std::filesystem::create_symlink(std::filesystem::absolute(library), path_ / POLAIGA_SONAME);
  }

  // Opens the directory and returns a name for it that has no colon, since a colon in
  // LD_LIBRARY_PATH separates directories. It stays open in the program that is started.
  std::string open() const {
    const int fd = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY);
    return fd >= 0 ? "/proc/self/fd/" + std::to_string(fd) : path_.string();
  }

 private:
  std::filesystem::path path_;
};

// Opens those of the three standard descriptors that are closed, so that no pipe gets
// the number of one of them.
void occupy_standard_descriptors() {
  int fd = -1;
  do {
    fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  ::close(fd);
}

void look_for_libraries_first_in(const std::string& directory) {
  const char* const others = std::getenv("LD_LIBRARY_PATH");
  const std::string path = others != nullptr && *others != '\0' ? directory + ":" + others : directory;
  ::setenv("LD_LIBRARY_PATH", path.c_str(), 1);
  ::setenv("LD_BIND_NOW", "1", 1);  // so that a missing filter is found when the library is loaded
}

// The arguments of the worker process. Once it is ready, it writes its standard error
// to `error_fd`.
std::vector<std::string> arguments(const std::string& library, const std::string& tables, std::int32_t platform,
                                   int error_fd) {
  std::vector<std::string> texts{kName, kWorkerCommand, "--platform=" + std::to_string(platform)};
  if (!tables.empty()) texts.push_back("--tables=" + tables);
  texts.insert(texts.end(), {"--", std::to_string(error_fd), library});
  return texts;
}

[[noreturn]] void become(std::vector<std::string> texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  ::execv(kProgram, pointers.data());
  ::_exit(EXIT_FAILURE);
}

// The last line of the error messages of a process, without the program's name.
std::string last_complaint(int fd) {
  std::string text;
  std::array<char, 1024> buffer{};
  for (;;) {
    const auto count = ::pread(fd, buffer.data(), buffer.size(), static_cast<off_t>(text.size()));
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  while (text.ends_with('\n')) text.pop_back();
  std::string_view line = text;
  line.remove_prefix(line.rfind('\n') + 1);  // npos + 1 is 0
  const std::string prefix = std::string(kName) + ": ";
  if (line.starts_with(prefix)) line.remove_prefix(prefix.size());
  return printable(line);
}

}  // namespace

Worker::Worker(const std::string& library, const std::string& tables, std::int32_t platform)
    : library_(printable(library)) {
  check_library(library, library_);
  const LibraryDirectory directory;
  directory.hold(library);
  occupy_standard_descriptors();
  Pipe questions;
  Pipe answers;
  const Descriptor complaints(::memfd_create("complaints", MFD_CLOEXEC));
  pid_ = ::fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGINT, SIG_IGN);  // Ctrl-C is handled by the process that asks
    const int error_fd = ::fcntl(STDERR_FILENO, F_DUPFD, STDERR_FILENO + 1);
    ::dup2(questions.out.get(), STDIN_FILENO);
    ::dup2(answers.in.get(), STDOUT_FILENO);
    ::dup2(complaints.get(), STDERR_FILENO);
    look_for_libraries_first_in(directory.open());
    become(arguments(library, tables, platform, error_fd));
  }
  questions_ = std::move(questions.in);
  answers_ = std::move(answers.out);
  answers.in.close();
  char said = '\0';
  if (!read_all(answers_.get(), &said, 1) || said != kReady) {
    end();
    fail(library_, "cannot be loaded: " + last_complaint(complaints.get()));
  }
}

Worker::~Worker() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    end();
  }
}

void Worker::ask(std::span<const Question> batch) const {
  const auto count = static_cast<std::uint32_t>(batch.size());
  // If the process has ended, this fails, and answer() will find out.
  if (write_all(questions_.get(), &count, sizeof count)) {
    write_all(questions_.get(), batch.data(), batch.size_bytes());
  }
}

std::optional<LibraryAnswer> Worker::answer() const {
  std::array<pollfd, 2> waited{{{answers_.get(), POLLIN, 0}, {interrupt_fd(), POLLIN, 0}}};
  while (::poll(waited.data(), waited.size(), -1) < 0 && errno == EINTR) {
  }
  LibraryAnswer answer;
  if (interrupted() || !read_all(answers_.get(), &answer, sizeof answer)) return std::nullopt;
  return answer;
}

Ending Worker::end() {
  questions_.close();
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  if (WIFSIGNALED(status)) return {true, WTERMSIG(status)};
  return {false, WEXITSTATUS(status)};
}

}  // namespace polaiga::engine
