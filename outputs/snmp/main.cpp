// polaiga-snmp: tells managers by SNMP what a ledger says.
#include "agent/program.h"

int main(int argc, char** argv) { return polaiga::snmp::run_program(argc, argv); }
