#include "support/test_postgres.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <pqxx/except>
#include <pqxx/nontransaction>
#include <pqxx/result>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "database/schema.h"

namespace polaiga::fleet {
namespace {

constexpr const char* kPrograms = "/usr/lib/postgresql/15/bin/";
constexpr std::chrono::seconds kPatience{60};
// Whoever tests what outlives a crash sets the first three otherwise, by "alter system".
constexpr const char* kSettings =
    "fsync = off\nsynchronous_commit = off\nfull_page_writes = off\nautovacuum = off\nlisten_addresses = ''\n"
    "max_connections = 50\nshared_buffers = 64MB\n";

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error("The PostgreSQL of the tests: " + what); }

std::string content_of(const std::filesystem::path& path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// Starts a program as the user postgres, when we are root: the server refuses to run as root. It ends with us.
pid_t start(const std::vector<std::string>& command, const std::string& log, const passwd* user) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const pid_t pid = fork();
  if (pid != 0) return pid;
  const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  if (user != nullptr && (setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)) _exit(126);
  prctl(PR_SET_PDEATHSIG, SIGQUIT);
  if (chdir("/") != 0) _exit(126);
  execv(arguments[0], arguments.data());
  _exit(127);
}

class Server {
 public:
  static Server& get() {
    static Server server;
    return server;
  }

  std::string url(const std::string& database, const std::string& role) const {
    return "host=" + directory_ + " dbname=" + database + " user=" + role;
  }
  pid_t pid() const { return pid_; }
  std::string next_name() { return "test_" + std::to_string(++databases_); }

 private:
  Server() {
    const passwd* const user = geteuid() == 0 ? getpwnam("postgres") : nullptr;
    if (geteuid() == 0 && user == nullptr)
      fail("there is no user postgres to run it; install the package postgresql-15");
    std::string directory = std::filesystem::temp_directory_path() / "polaiga-postgres-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) fail("cannot make a directory for it");
    directory_ = directory;
    if (user != nullptr && chown(directory_.c_str(), user->pw_uid, user->pw_gid) != 0) fail("chown failed");
    const std::string data = directory_ + "/data";
    const std::string log = directory_ + "/log";
    std::ofstream(log).close();
    std::filesystem::permissions(log, std::filesystem::perms(0666));
    int status = 0;
    const pid_t making = start({std::string(kPrograms) + "initdb", "-D", data, "-U", "postgres", "-A", "trust", "-E",
                                "UTF8", "--locale=C.UTF-8", "--no-sync", "--no-instructions"},
                               log, user);
    if (waitpid(making, &status, 0) != making || status != 0) fail("initdb failed: " + content_of(log));
    std::ofstream(data + "/postgresql.conf", std::ios::app) << kSettings;
    pid_ = start({std::string(kPrograms) + "postgres", "-D", data, "-k", directory_}, log, user);
    wait_until_it_answers(log);
    make_roles(log, user);
    Database database(url("polaiga", "polaiga_owner"), "tests");
    migrate(database);
  }

  ~Server() {
    kill(pid_, SIGQUIT);
    waitpid(pid_, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  void wait_until_it_answers(const std::string& log) const {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
      try {
        const pqxx::connection connection(url("postgres", "postgres"));
        return;
      } catch (const pqxx::broken_connection& problem) {
        const bool is_over = waitpid(pid_, nullptr, WNOHANG) != 0 || std::chrono::steady_clock::now() > end;
        if (is_over) fail(std::string("it does not answer: ") + problem.what() + content_of(log));
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  // As whoever sets up a fleet does. The database that is made with them is the template of all others.
  void make_roles(const std::string& log, const passwd* user) const {
    const std::string copy = directory_ + "/roles.sql";  // the user postgres may not be allowed to read ours
    std::filesystem::copy_file(POLAIGA_ROLES, copy);
    int status = 0;
    const pid_t psql = start({std::string(kPrograms) + "psql", "--host", directory_, "--username", "postgres",
                              "--dbname", "postgres", "--no-psqlrc", "--set", "ON_ERROR_STOP=1", "--file", copy},
                             log, user);
    if (waitpid(psql, &status, 0) != psql || status != 0) fail("the roles cannot be made: " + content_of(log));
  }

  std::string directory_;
  pid_t pid_ = -1;
  int databases_ = 0;
};

}  // namespace

TestDatabase::TestDatabase(Content content) : name_(Server::get().next_name()) {
  pqxx::connection connection(Server::get().url("postgres", "postgres"));
  pqxx::nontransaction(connection)
      .exec("create database " + name_ + (content == Content::kSchema ? " template polaiga" : ""));
  connection_ = std::make_unique<pqxx::connection>(url());
  pqxx::nontransaction(*connection_)
      .exec("set search_path = polaiga; set timezone = 'UTC'; set client_min_messages = warning");
}

TestDatabase::~TestDatabase() {
  connection_.reset();
  pqxx::connection connection(Server::get().url("postgres", "postgres"));
  pqxx::nontransaction(connection).exec("drop database " + name_ + " with (force)");
}

std::string TestDatabase::url(const std::string& role) const { return Server::get().url(name_, role); }

std::string TestDatabase::sql(const std::string& statements) {
  std::string text;
  for (const pqxx::row& row : pqxx::nontransaction(*connection_).exec(statements)) {
    for (const pqxx::field& field : row) {
      if (field.num() != 0) text += '|';
      if (!field.is_null()) text += field.c_str();
    }
    text += '\n';
  }
  return text;
}

pid_t test_postgres_pid() { return Server::get().pid(); }

}  // namespace polaiga::fleet
