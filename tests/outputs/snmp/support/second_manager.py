"""A manager by another library: second_manager.py PORT ENGINE_ID
It takes traps and informs of version 2c, and traps of version 3 that are authenticated and encrypted, and prints each as a
line of JSON: the version, and the variables by their names."""
import json
import sys
import warnings

warnings.simplefilter("ignore")
from pysnmp.carrier.asyncore.dgram import udp
from pysnmp.entity import config, engine
from pysnmp.entity.rfc3413 import ntfrcv
from pysnmp.proto.api import v2c

USER, SECRET = "watcher", "long-enough-secret"


def main():
    port, engine_id = int(sys.argv[1]), v2c.OctetString(hexValue=sys.argv[2])
    manager = engine.SnmpEngine()
    config.addTransport(manager, udp.domainName, udp.UdpTransport().openServerMode(("127.0.0.1", port)))
    config.addV1System(manager, "area", "public")
    config.addV3User(manager, USER, config.usmHMACSHAAuthProtocol, SECRET, config.usmAesCfb128Protocol, SECRET,
                     securityEngineId=engine_id)

    def take(snmp, reference, context_engine, context, variables, _):
        information = snmp.observer.getExecutionContext("rfc3412.receiveMessage:request")
        level = information["securityLevel"]
        print(json.dumps({"level": str(level), "variables": {str(name): value.prettyPrint() for name, value in variables}}),
              flush=True)

    ntfrcv.NotificationReceiver(manager, take)
    manager.transportDispatcher.jobStarted(1)
    print("ready", flush=True)
    manager.transportDispatcher.runDispatcher()


if __name__ == "__main__":
    main()
