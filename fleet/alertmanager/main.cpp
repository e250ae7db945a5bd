// polaiga-alertmanager-fleet: tells Alertmanagers of the alarms of a fleet, from its database.
#include "fleet_alertmanager_program/fleet_program.h"

int main(int argc, char** argv) { return polaiga::alertmanager::run_fleet_program(argc, argv); }
