"""The way of an alarm to whoever is on duty: the engine, the server's /metrics, a real Prometheus with the rules that
are shipped, a real Alertmanager, and a receiver of its messages; and the way of its end.
alertmanager_test.py POLAIGA POLAIGA_WEB SOURCE"""
import http.server
import json
import pathlib
import sys
import threading

HERE = pathlib.Path(__file__).parent
sys.path.insert(0, str(HERE.parent / "redfish"))
sys.path.insert(0, str(HERE))
from monitoring import Alertmanager, Prometheus, wait_for
from service import Directory, Engine, Web


def event(fan, offset, state):
    return {"entity": "fan", "sensor": "FAN1_TACH1", "instance": fan, "offset": offset, "state": state}


def broken(fan):
    """Its speed is lower non recoverable."""
    return event(fan, 5, 1)


def recovery(fan):
    """It is lower critical, then lower non critical, then well."""
    return event(fan, 5, 5), event(fan, 4, 4), event(fan, 3, 0)


def dn(fan):
    return f"sys/rack-unit-1/fan-module-1-{fan}/fan-1"


class MessageReceiver:
    """Takes the messages of Alertmanager's webhook."""

    def __init__(self):
        receiver = self
        self.alerts = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                receiver.alerts += json.loads(self.rfile.read(int(self.headers["Content-Length"])))["alerts"]
                self.send_response(200)
                self.send_header("Content-Length", "0")
                self.end_headers()

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.server.shutdown()

    def url(self):
        return f"http://127.0.0.1:{self.server.server_address[1]}/"

    def told(self):
        """Pairs of a status and a DN."""
        return {(alert["status"], alert["labels"].get("dn")) for alert in list(self.alerts)}


def main():
    polaiga, polaiga_web, packaging = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3]) / "packaging/prometheus"
    with Directory() as directory, MessageReceiver() as receiver:
        engine = Engine(polaiga, directory)
        web = Web(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0")
        address = web.url.removeprefix("http://")

        def labels(fan):
            return {"alertname": "PolaigaCriticalAlarm", "code": "F0397", "dn": dn(fan), "instance": address,
                    "job": "polaiga", "severity": "critical"}

        with Alertmanager(directory, receiver.url()) as alertmanager:
            with Prometheus(directory, address, packaging, [alertmanager.base.removeprefix("http://")]):
                engine.feed(broken(1), broken(2))

                def critical():
                    return sorted((a["labels"] for a in alertmanager.alerts() if a["labels"]["alertname"] == "PolaigaCriticalAlarm"),
                                  key=lambda found: found["dn"])

                wait_for("alert of each fan", lambda: critical() == [labels(1), labels(2)])
                one = next(a for a in alertmanager.alerts() if a["labels"] == labels(1))
                assert one["annotations"]["summary"] == f"{dn(1)} has a critical alarm (F0397)", one
                assert "polaiga explain" in one["annotations"]["description"], one
                wait_for("message of each fan", lambda: {("firing", dn(1)), ("firing", dn(2))} <= receiver.told())
                assert not [status for status, _ in receiver.told() if status == "resolved"], receiver.told()

                engine.feed(*recovery(1))
                wait_for("message that the first fan is well", lambda: ("resolved", dn(1)) in receiver.told())
                wait_for("end of its alert", lambda: critical() == [labels(2)])
                assert ("resolved", dn(2)) not in receiver.told()


main()
