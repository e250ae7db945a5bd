#include "collector_program/program.h"

int main(int argc, char** argv) { return polaiga::fleet::run_collector(argc, argv); }
