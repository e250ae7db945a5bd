// polaiga-alertmanager: tells Alertmanagers and webhooks what the ledger says of alarms.
#include "alertmanager_program/program.h"

int main(int argc, char** argv) { return polaiga::alertmanager::run_program(argc, argv); }
