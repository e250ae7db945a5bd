#!/usr/bin/env python3
"""What polaiga-collector does when the database does not take a change: when the change is to blame, that one alone becomes a
dead letter; otherwise it waits, and is taken later. database_test.py PROGRAMS"""
import sys
import tempfile
import unittest

from collected import Collected, change
from processes import until

PROGRAMS = ""
# The database refuses an alarm of this name as it refuses a number that is too great for its column.
REFUSE = """
create function polaiga.refuse() returns trigger language plpgsql as
  $$ begin raise exception 'the number is too great' using errcode = '22003'; end $$;
create trigger refuse before insert on polaiga.alarm for each row when (new.name = 'refused') execute function polaiga.refuse()"""


class DatabaseTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(prefix="polaiga-collector-")
        cls.addClassCleanup(directory.cleanup)
        cls.all = Collected(directory.name, PROGRAMS)
        cls.addClassCleanup(cls.all.close)
        cls.all.database.execute(REFUSE)
        cls.collector = cls.all.begin()

    def gaps(self, controller):
        return self.all.query("select first, last from gap join ledger using (ledger_no) join controller using (controller_id) "
                              f"where name = '{controller}' order by first")

    def test_a_change_that_the_database_refuses_is_a_dead_letter_and_the_others_are_taken(self):
        for number in range(1, 8):
            members = {"record": {"name": "refused"}} if number == 4 else {}
            self.all.send("change", change(number, "refused", **members), "refused")
            self.all.send("change", change(number, "neighbour"), "neighbour")
        self.all.wait_for_ack(7, "refused")
        self.all.wait_for_ack(7, "neighbour")
        self.assertEqual(self.all.numbers("refused"), [1, 2, 3, 5, 6, 7])
        self.assertEqual(self.gaps("refused"), ["4|4"])
        self.assertEqual(self.all.numbers("neighbour"), [1, 2, 3, 4, 5, 6, 7])
        headers, body = self.all.take_dead_letter()
        self.assertEqual(headers["routing-key"], "polaiga.v1.lab.refused.change")
        self.assertIn("the number is too great", headers["reason"])
        self.assertIn(b'"number": 4', body)
        # Who sends it again does no harm, and a change has its gap already.
        before = len(self.all.told("ack", "refused"))
        channel = self.all.channel()
        channel.basic_publish("polaiga.fleet", headers["routing-key"], body)
        channel.connection.close()
        until("it is acknowledged as a repeat", lambda: len(self.all.told("ack", "refused")) > before)
        self.assertEqual(self.all.told("ack", "refused")[-1]["through"], 7)
        self.assertEqual(self.all.numbers("refused"), [1, 2, 3, 5, 6, 7])

    def partitions(self):
        return self.all.query("select c.relname, pg_get_expr(c.relpartbound, c.oid) from pg_inherits i join pg_class c on "
                              "c.oid = i.inhrelid where i.inhparent = 'polaiga.change'::regclass and c.relkind = 'r'")

    def nothing_is_dead(self):
        return "polaiga.dead\t0" in self.all.broker.nodes[0].control("list_queues", "name", "messages")

    def test_a_partition_that_is_not_there_is_made_and_costs_no_change(self):
        self.all.send("change", change(1, "partition"), "partition")
        self.all.wait_for_ack(1, "partition")
        for name in [row.split("|")[0] for row in self.partitions()]:
            self.all.query(f"alter table change detach partition {name}; drop table {name}")
        self.all.send("change", change(2, "partition"), "partition")
        self.all.wait_for_ack(2, "partition")
        self.assertEqual(self.all.numbers("partition"), [2])
        self.assertEqual(self.gaps("partition"), [])
        until("there is no dead letter", self.nothing_is_dead)

    def test_changes_wait_while_a_partition_is_detached(self):
        self.all.send("change", change(1, "detached"), "detached")
        self.all.wait_for_ack(1, "detached")
        partitions = [row.split("|") for row in self.partitions()]
        for name, _ in partitions:
            self.all.query(f"alter table change detach partition {name}")
        self.all.send("change", change(2, "detached"), "detached")
        self.collector.wait_for("is not attached")
        self.assertEqual(self.gaps("detached"), [])
        for name, bounds in partitions:
            self.all.query(f"alter table change attach partition {name} {bounds}")
        self.all.wait_for_ack(2, "detached")
        self.assertEqual(self.all.numbers("detached"), [1, 2])
        self.assertEqual(self.gaps("detached"), [])
        until("there is no dead letter", self.nothing_is_dead)
    def send_until_taken(self, number, controller):
        """As a controller does: it tells a change again until that is acknowledged."""
        def is_taken():
            self.all.send("change", change(number, controller), controller)
            return any(one["through"] >= number for one in self.all.told("ack", controller))
        until("the change is taken", is_taken, 30)

    def test_a_change_that_conflicts_with_others_is_not_thrown_away(self):
        self.all.query("alter table alarm add constraint mistake check (dn <> 'sys/fan-2')")
        self.all.send("change", change(1, "conflict"), "conflict")
        self.all.send("change", change(2, "conflict"), "conflict")
        self.all.wait_for_ack(1, "conflict")
        self.collector.wait_for("Nothing is taken of lab/conflict for 10 s")
        self.all.send("change", change(1, "peaceful"), "peaceful")
        self.all.wait_for_ack(1, "peaceful")
        self.all.query("alter table alarm drop constraint mistake")
        self.send_until_taken(2, "conflict")
        self.assertEqual(self.all.numbers("conflict"), [1, 2])
        self.assertEqual(self.gaps("conflict"), [])
        until("there is no dead letter", self.nothing_is_dead)

    def test_a_gap_that_is_refused_holds_nobody_else_back(self):
        self.all.database.execute(
            "create trigger refuse before insert on polaiga.gap for each row execute function polaiga.refuse()")
        self.all.send("change", change(1, "gapless", record={"name": "refused"}), "gapless")
        self.collector.wait_for("Nothing is taken of lab/gapless for 10 s")
        self.all.send("change", change(1, "whole"), "whole")
        self.all.wait_for_ack(1, "whole")
        until("there is no dead letter", self.nothing_is_dead)
        self.all.database.execute("drop trigger refuse on polaiga.gap")

    def test_a_message_that_takes_too_long_keeps_nobody_back(self):
        self.all.query("create function slow() returns trigger language plpgsql as $$ begin perform pg_sleep(600); return new; end $$; "
                       "create trigger slow before insert on alarm for each row when (new.name = 'slow') execute function slow()")
        for number in 1, 2, 3:
            self.all.send("change", change(number, "slow", record={"name": "slow"}), "slow")
            self.all.send("change", change(number, "quick"), "quick")
        self.all.wait_for_ack(3, "quick", 120)
        self.collector.wait_for("Nothing is taken of lab/slow for 600 s", 120)
        self.assertEqual(self.all.numbers("slow"), [])
        self.all.send("change", change(4, "quick"), "quick")
        self.all.wait_for_ack(4, "quick")
        self.all.query("drop trigger slow on alarm; drop function slow()")

    def test_a_duty_that_takes_too_long_keeps_no_change_back(self):
        self.all.query("create function slow_duty() returns trigger language plpgsql as $$ begin perform pg_sleep(600); "
                       "return new; end $$; create trigger slow_duty before update on ledger for each row "
                       "when (old.put_back_before is not null and new.put_back_before is null) execute function slow_duty()")
        self.all.send("change", change(1, "lasting"), "lasting")
        self.all.wait_for_ack(1, "lasting")
        self.all.query("update ledger set put_back_before = 9 where ledger_no = (select ledger_no from controller "
                       "where name = 'lasting')")
        self.collector.wait_for("That was the putting back of ledgers. It is tried again; messages are taken meanwhile")
        self.all.send("change", change(1, "patient"), "patient")
        self.all.wait_for_ack(1, "patient", 15)
        self.all.query("drop trigger slow_duty on ledger; drop function slow_duty()")

    def test_a_duty_that_the_database_refuses_keeps_no_change_back(self):
        self.all.query("revoke select on action from polaiga_collector")
        self.collector.wait_for("permission denied for table action")
        self.all.send("change", change(1, "dutiful"), "dutiful")
        self.all.wait_for_ack(1, "dutiful")
        self.all.query("grant select on action to polaiga_collector")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
