// polaiga-alertmanager: tells Alertmanagers and webhooks what the ledger says of alarms. With --fleet it is
// polaiga-alertmanager-fleet.
#include "alertmanager_program/program.h"
#include "publisher/fleet_program.h"

int main(int argc, char** argv) {
  if (polaiga::output::is_for_fleet(argc, argv)) return polaiga::output::run_for_fleet("polaiga-alertmanager", argv);
  return polaiga::alertmanager::run_program(argc, argv);
}
