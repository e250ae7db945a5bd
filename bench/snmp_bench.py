#!/usr/bin/env python3
"""What polaiga-snmp costs, and how soon it is back, with limits: snmp_bench.py POLAIGA POLAIGA_SNMP
It is asked through a real snmpd on this machine."""
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(HERE / "tests/outputs/snmp/support"))
sys.dont_write_bytecode = True
import site_of_snmp
from figures import Figures
from site_of_snmp import ROOT, Site, run, until

CHANGES, ALARMS, TOLD = 100_000, 20_000, 4000
COLUMNS = (2, 3, 6)  # of polaigaChangeTable: what a manager reads to follow the alarms


def unit(number, state):
    return {"entity": "mem", "sensor": "DIMM", "offset": 66, "instance": number, "state": state}


def walk(site, oid):
    """How many rows there are, and the seconds that it takes to read them."""
    begin = time.monotonic()
    done = run("snmpbulkwalk", "-v2c", "-c", "public", "-On", "-Cr100", "-t", "10", f"127.0.0.1:{site.port}", oid,
               env={**site.environment, "MIBS": ""})
    return done.stdout.count("\n"), time.monotonic() - begin


def main():
    site_of_snmp.POLAIGA, site_of_snmp.POLAIGA_SNMP = sys.argv[1:3]
    site_of_snmp.MIBS = str(HERE / "outputs/snmp/mibs")
    figures = Figures()
    site = Site("--chattering", "0", "--keep-bytes", "0", "--keep-events", "1000000")
    try:
        most = 2000
        for sent in range(0, CHANGES, most):
            # So many units are in trouble in the end; the others refresh their faults.
            site.events(*(unit(1 + (sent + i) % ALARMS, 1) for i in range(most)))
        begin = time.monotonic()
        site.start()
        until("the tables have all", lambda: site.get(ROOT + ".1.1.2.0") == [str(site.last_change())], 120)
        figures.note("start with these changes and alarms, seconds", time.monotonic() - begin)
        begin = time.monotonic()
        site.events(*(unit(1 + i, 1) for i in range(TOLD)))
        until("all is told", lambda: site.cursor() == site.last_change(), 120)
        figures.note(f"{TOLD} changes told, a second", TOLD / (time.monotonic() - begin))
        figures.note("active alarms", len(site.truth()))
        seconds = 0
        for column in COLUMNS:
            rows, took = walk(site, f"{ROOT}.1.5.1.{column}")
            assert rows >= CHANGES, rows
            seconds += took
        figures.at_most(f"{CHANGES} rows of the changes, {len(COLUMNS)} columns, seconds", seconds, 15)
        rows, took = walk(site, ROOT + ".1.3.1.7")
        figures.note(f"{rows} rows of the active alarms, a column, seconds", took)
        figures.at_most("memory of polaiga-snmp, MiB", site.publisher.memory() / 2**20, 64)
        slowest = 0
        for _ in range(5):
            site.kill_snmpd()
            time.sleep(0.5)
            site.start_snmpd()
            begin, before = time.monotonic(), site.publisher.text().count("connected to the master agent")
            until("it is back", lambda: site.publisher.text().count("connected to the master agent") > before or
                  site.ask("snmpget", ROOT + ".1.1.2.0").find("No Such") < 0)
            slowest = max(slowest, time.monotonic() - begin)
        figures.at_most("back after snmpd's return, seconds, the slowest of five", slowest, 2)
    finally:
        site.close()
    sys.exit(1 if figures.missed else 0)


if __name__ == "__main__":
    main()
