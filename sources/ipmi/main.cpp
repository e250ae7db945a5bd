// polaiga-ipmi: tells an engine what a server's management controller says by IPMI.
#include "adapter/program.h"

int main(int argc, char** argv) { return polaiga::ipmi::run_program(argc, argv); }
