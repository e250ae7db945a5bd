// polaiga-mqtt: tells an MQTT broker what happens to the alarms of an engine's ledger.
#include "mqtt_program/program.h"

int main(int argc, char** argv) { return polaiga::mqtt::run_program(argc, argv); }
