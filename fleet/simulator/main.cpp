#include "simulator_program/program.h"

int main(int argc, char** argv) { return polaiga::fleet::run_simulator(argc, argv); }
