// make_schema URL: makes the schema of a fleet's database, for tests in Python.
#include <cstdio>
#include <exception>

#include "database/schema.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: make_schema URL\n", stderr);
    return 2;
  }
  try {
    polaiga::fleet::Database database(argv[1], "make_schema");
    polaiga::fleet::migrate(database);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
