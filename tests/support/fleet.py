"""A broker and a database for what needs a fleet: RabbitMQ, of one node or a cluster, and PostgreSQL, with a standby if that
is wanted. Each has ports, a directory and processes of its own, which end with the program that started them."""
import contextlib
import os
import pwd
import secrets
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from processes import PATIENCE, Process, free_port, run, until

RABBITMQ = Path("/usr/lib/rabbitmq/bin")
POSTGRESQL = Path("/usr/lib/postgresql/15/bin")
PLUGINS = ("rabbitmq_consistent_hash_exchange", "rabbitmq_mqtt")
START_WITHIN = 2 * PATIENCE  # the nodes of a cluster wait for each other


def listens(port):
    try:
        socket.create_connection(("127.0.0.1", port), timeout=1).close()
    except OSError:
        return False
    return True


class Node:
    """A node of a broker. `process` is None while it does not run."""

    def __init__(self, broker, number):
        self.broker = broker
        self.name = f"node{number}-{broker.token}@localhost"
        self.place = broker.place / f"node{number}"
        self.amqp_port, self.mqtt_port, self.dist_port = free_port(), free_port(), free_port()
        self.process = None

    def environment(self):
        return {**os.environ, **self.broker.environment, "RABBITMQ_NODENAME": self.name, "RABBITMQ_DIST_PORT": str(self.dist_port),
                "RABBITMQ_MNESIA_BASE": str(self.place / "mnesia"), "RABBITMQ_LOG_BASE": str(self.place / "log"),
                "RABBITMQ_ENABLED_PLUGINS_FILE": str(self.place / "enabled_plugins"),
                "RABBITMQ_CONFIG_FILE": str(self.place / "rabbitmq.conf"), "RABBITMQ_PID_FILE": str(self.place / "pid"),
                "RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS": "+sbwt none +sbwtdcpu none +sbwtdio none",
                # The node takes the place of the script that starts it, so that its id is known.
                "RUNNING_UNDER_SYSTEMD": "1"}

    def start(self):
        """Begins to start it; Broker.wait() waits until it is there."""
        self.place.mkdir(exist_ok=True)
        kind = "ssl" if self.broker.is_encrypted else "tcp"
        lines = [f"listeners.{kind}.1 = 127.0.0.1:{self.amqp_port}", f"mqtt.listeners.{kind}.1 = 127.0.0.1:{self.mqtt_port}",
                 "disk_free_limit.absolute = 50MB", "queue_leader_locator = balanced", *self.broker.lines]
        if len(self.broker.nodes) > 1:
            lines.append("cluster_formation.peer_discovery_backend = classic_config")
            lines += [f"cluster_formation.classic_config.nodes.{i} = {node.name}" for i, node in enumerate(self.broker.nodes, 1)]
        (self.place / "rabbitmq.conf").write_text("\n".join(lines) + "\n")
        (self.place / "enabled_plugins").write_text(f"[{','.join(self.broker.plugins)}].\n")
        # Ctrl-C is for who started all this, who ends it in its order.
        self.process = Process(str(RABBITMQ / "rabbitmq-server"), env=self.environment(), cwd=self.place, start_new_session=True)

    def is_there(self):
        assert not self.process.has_ended(), f"{self.name} has ended: {self.process.text()}"
        return listens(self.amqp_port) and listens(self.mqtt_port)

    def end(self, how=signal.SIGTERM):
        if self.process is not None:
            self.process.end(how)
            self.process = None

    def control(self, *arguments, program="rabbitmqctl"):
        """Runs rabbitmqctl; answers with what it says."""
        done = subprocess.run([RABBITMQ / program, "--quiet", *arguments], env=self.environment(), cwd=self.place, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=START_WITHIN)
        assert done.returncode == 0, (arguments, done.stdout)
        return done.stdout


class Broker:
    """RabbitMQ with `count` nodes, in the directory `place`. `lines` are more lines of its configuration, which have the
    certificates if it is encrypted."""

    def __init__(self, place, count=1, lines=(), plugins=PLUGINS, is_encrypted=False):
        self.place = Path(place)
        self.place.mkdir(parents=True, exist_ok=True)
        self.lines, self.plugins, self.is_encrypted = lines, plugins, is_encrypted
        self.token = secrets.token_hex(3)
        cookie = self.place / ".erlang.cookie"
        cookie.write_text(secrets.token_hex(16))
        cookie.chmod(0o400)
        self.names_port = free_port()
        self.environment = {"HOME": str(self.place), "ERL_EPMD_PORT": str(self.names_port), "ERL_EPMD_ADDRESS": "127.0.0.1"}
        self.names = Process("epmd", "-port", str(self.names_port), "-address", "127.0.0.1",
                             start_new_session=True)
        self.nodes = []
        try:
            until("the node names are told", lambda: listens(self.names_port))
            self.nodes += [Node(self, number) for number in range(1, count + 1)]
            self.start()
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def start(self):
        """Starts the nodes that do not run, and waits until they are there."""
        if not self.nodes[0].place.exists():
            # A new cluster is made by one node, which the others join: all at once, each may begin one of its own.
            self.nodes[0].start()
            self.wait()
        for node in self.nodes:
            if node.process is None:
                node.start()
        self.wait()

    def wait(self):
        for node in self.nodes:
            if node.process is not None:
                until(f"{node.name} listens", node.is_there, START_WITHIN)

    def amqp_urls(self):
        return [f"amqp://127.0.0.1:{node.amqp_port}/%2F" for node in self.nodes]

    def mqtt_addresses(self):
        return [f"127.0.0.1:{node.mqtt_port}" for node in self.nodes]

    def any_node(self):
        return next(node for node in self.nodes if node.process is not None)

    def leader_of(self, queue):
        """The node that leads a quorum queue."""
        for line in self.any_node().control("list_queues", "name", "leader").splitlines():
            name, _, leader = line.partition("\t")
            if name == queue:
                return next(node for node in self.nodes if node.name == leader)
        raise AssertionError(f"there is no queue {queue}")

    def close(self):
        for node in self.nodes:
            if node.process is not None:
                node.process.send_signal(signal.SIGTERM)
        end = time.monotonic() + 15
        for node in self.nodes:
            if node.process is not None:
                with contextlib.suppress(subprocess.TimeoutExpired):
                    node.process.process.wait(max(0.1, end - time.monotonic()))
                node.end(signal.SIGKILL)
        self.names.kill()


def as_postgres():
    """What subprocess needs to run a program of PostgreSQL, which refuses to be run by root."""
    if os.geteuid() != 0:
        return {}
    account = pwd.getpwnam("postgres")
    return {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": []}


class Server:
    """One server of PostgreSQL, with the data in `place`. `process` is None while it does not run."""

    def __init__(self, place, settings):
        self.place, self.settings = Path(place), settings
        self.port = free_port()
        self.process = None

    def start(self):
        settings = [word for one in self.settings for word in ("-c", one)]
        self.process = Process(str(POSTGRESQL / "postgres"), "-D", str(self.place), "-p", str(self.port), "-h", "127.0.0.1", "-k",
                               "", *settings, cwd="/", start_new_session=True, **as_postgres())

    def wait(self):
        def answers():
            assert not self.process.has_ended(), self.process.text()
            return subprocess.run([POSTGRESQL / "pg_isready", "-q", "-h", "127.0.0.1", "-p", str(self.port)]).returncode == 0
        until("the database answers", answers)

    def end(self, how=signal.SIGINT):
        """SIGINT ends it at once and in order."""
        if self.process is not None:
            self.process.end(how)
            self.process = None


class Postgres:
    """PostgreSQL in the directory `place`, with the database `polaiga` and the roles of a fleet. With `with_standby` each
    commit waits until a standby has it, too. Everybody on this machine may connect without a password. `settings` are more
    settings, such as "fsync=off"."""

    ROLES = ("polaiga_collector", "polaiga_viewer", "polaiga_operator")
    STANDBY = "polaiga_standby"

    def __init__(self, place, with_standby=False, settings=()):
        self.place = Path(place)
        self.place.mkdir(parents=True, exist_ok=True)
        if os.geteuid() == 0:
            os.chown(self.place, as_postgres()["user"], as_postgres()["group"])
        for directory in self.place.resolve().parents:
            assert directory.stat().st_mode & 0o011 == 0o011 or os.geteuid() != 0, f"PostgreSQL's user cannot enter {directory}"
        run(POSTGRESQL / "initdb", "-D", self.place / "primary", "-U", "postgres", "-A", "trust", "-E", "UTF8", "--locale=C",
            "--no-sync", cwd="/", **as_postgres())
        self.primary = Server(self.place / "primary", ["max_connections=200", *settings])
        self.standby = None
        try:
            self.primary.start()
            self.primary.wait()
            self.execute("create database polaiga", database="postgres")
            for role in self.ROLES:
                self.execute(f"create role {role} login")
            if with_standby:
                self._add_standby(settings)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _add_standby(self, settings):
        self.execute(f"create role {self.STANDBY} login replication")
        run(POSTGRESQL / "pg_basebackup", "-D", self.place / "standby", "-R", "-X", "stream", "-c", "fast", "-d",
            f"host=127.0.0.1 port={self.primary.port} user={self.STANDBY} application_name={self.STANDBY}", cwd="/",
            **as_postgres())
        self.standby = Server(self.place / "standby", ["max_connections=200", *settings])
        self.standby.start()
        self.standby.wait()
        self.execute(f"alter system set synchronous_standby_names = '{self.STANDBY}'")
        self.execute("select pg_reload_conf()")
        until("the standby is synchronous",
              lambda: self.query("select 1 from pg_stat_replication where sync_state = 'sync'") == ["1"])

    def url(self, role):
        """For libpq, of a role: of the server that may be written to, whichever that is."""
        servers = [server for server in (self.primary, self.standby) if server is not None]
        hosts = ",".join(f"127.0.0.1:{server.port}" for server in servers)
        return f"postgresql://{role}@{hosts}/polaiga?target_session_attrs=read-write&connect_timeout=5"

    def psql(self, *arguments, database="polaiga", server=None):
        server = server or self.primary
        return [POSTGRESQL / "psql", "-h", "127.0.0.1", "-p", str(server.port), "-U", "postgres", "-d", database, "-X", "-A", "-t",
                "-q", "-v", "ON_ERROR_STOP=1", *arguments]

    def query(self, sql, database="polaiga", server=None):
        """The rows, as texts with '|' between the columns."""
        return run(*self.psql("-c", sql, database=database, server=server)).stdout.splitlines()

    execute = query

    def execute_long(self, sql):
        """Statements that may take many minutes."""
        subprocess.run(self.psql(), input=sql, text=True, check=True, stdout=subprocess.DEVNULL)

    def promote(self):
        """Makes the standby the primary. The one before must not run any more."""
        assert self.primary.process is None, "the primary still runs"
        # It was made before the primary was told to wait for it, so it waits for no standby of its own.
        self.query("select pg_promote()", server=self.standby)
        self.primary, self.standby = self.standby, None

    def close(self):
        for server in (self.standby, self.primary):
            if server is not None:
                server.end()
