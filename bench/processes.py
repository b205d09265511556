"""The processes of a benchmark run: our agent on commands, stock snmpd, and the client."""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
BUILD = os.environ["ACLSNMP_BUILD"]
PROCESSORS = sorted(os.sched_getaffinity(0))
# The server has one processor, the client another one where there is one.
SERVER_CPU, CLIENT_CPU = PROCESSORS[0], PROCESSORS[-1]
CLIENT = os.path.join(BUILD, "bin", "aclsnmp-bench-client")
CONFIGURATION = "rocommunity public 127.0.0.1\n"

RULES = "1.3.6.1.4.1.32473.3.5.1.1.2.1"
STATS = "1.3.6.1.4.1.32473.3.5.1.1.3.1"
TDATA_ONE = "1.3.6.1.4.1.32473.99.1.1"
TDATA_ALL = "1.3.6.1.4.1.32473.99.2.1"
PASS = "1.3.6.1.4.1.32473.99.3"
PENDING = "1.3.6.1.4.1.32473.99.9.0"
UPTIME = "1.3.6.1.2.1.1.3.0"


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    """A process that answers SNMP on a port of the loopback, with a folder of its own."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="aclsnmp-bench-")
        self.port = free_port()
        self.address = "udp:127.0.0.1:%d" % self.port
        self.process = None
        self.shape = (0, 1)

    def spawn(self, command, configuration, **options):
        self.configuration = os.path.join(self.folder, "agent.conf")
        with open(self.configuration, "w") as out:
            out.write(configuration)
        environment = dict(os.environ, SNMP_PERSISTENT_DIR=os.path.join(self.folder, "state"), MIBS="")
        with open(os.path.join(self.folder, "log"), "w") as log:
            self.process = subprocess.Popen(
                command(self), stderr=log, env=environment, text=True, **options
            )

    def log(self):
        with open(os.path.join(self.folder, "log"), errors="replace") as log:
            return log.read()

    def pids(self):
        return [self.process.pid]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.terminate()
        try:
            self.process.wait(60)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def client(self, command, *arguments):
        """One run of the client; a figure of a failed one does not exist."""
        run = subprocess.run(
            [CLIENT, command, "--port", str(self.port), "--cpu", str(CLIENT_CPU),
             "--pid", ",".join(map(str, self.pids())),
             "--acls", str(self.shape[0]), "--rules", str(self.shape[1]), *map(str, arguments)],
            capture_output=True, text=True, timeout=1200)
        if run.returncode != 0:
            sys.exit("bench: the client failed: %s\n%s" % (run.stderr.strip(), self.log()))
        return json.loads(run.stdout)


class Agent(Server):
    """Our agent. `wrapper` is put before its command line, for example valgrind."""

    rules = RULES

    def __init__(self, shape=None, types=("ipv4",), peers=False, wrapper=()):
        super().__init__()
        self.spawn(
            lambda self: [*wrapper, os.path.join(BUILD, "bin", "aclsnmp-bench-agent"),
                          os.path.join(BUILD, "lib", "plugins"), self.address, self.configuration,
                          str(SERVER_CPU)],
            CONFIGURATION, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        if self.process.stdout.readline().strip() != "ready":
            sys.exit("bench: the agent does not start:\n" + self.log())
        self.model = {}
        if shape:
            self.shape = shape
            for acl_type in types:
                self.model[acl_type] = self.command("model %s %d %d" % (acl_type, *shape))
        if peers:
            self.command("peers")

    def command(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        if not answer:
            sys.exit("bench: the agent ended at '%s':\n%s" % (line, self.log()))
        result = json.loads(answer)
        if "error" in result:
            sys.exit("bench: %s: %s" % (line, result["error"]))
        return result


SNMPD = shutil.which("snmpd", path=os.environ["PATH"] + ":/usr/sbin")


class PassPersist(Server):
    """Stock snmpd with the rows in a script."""

    rules = PASS + ".1"

    def __init__(self, shape):
        super().__init__()
        self.shape = shape
        script = "/usr/bin/python3 %s %d %d" % (os.path.join(HERE, "pass_persist.py"), *shape)
        self.spawn(
            lambda self: ["taskset", "-c", str(SERVER_CPU), SNMPD, "-f", "-C", "-c", self.configuration, "-Lo",
                          "-I", "-smux", self.address],
            CONFIGURATION + "pass_persist .%s %s\n" % (PASS, script), stdout=subprocess.DEVNULL)
        deadline = time.monotonic() + 60
        while True:
            probe = subprocess.run(
                ["snmpgetnext", "-v2c", "-c", "public", "-On", "-t", "2", "-r", "5", self.address, PASS],
                capture_output=True, text=True, env=dict(os.environ, MIBS=""))
            if probe.returncode == 0 and "." + PASS in probe.stdout:
                return
            if time.monotonic() > deadline:
                sys.exit("bench: snmpd does not serve the script: " + probe.stdout + probe.stderr + self.log())

    def pids(self):
        """snmpd and the script, which is its child."""
        found = [self.process.pid]
        for entry in os.listdir("/proc"):
            try:
                with open("/proc/%d/stat" % int(entry)) as stat:
                    parent = int(stat.read().rpartition(")")[2].split()[1])
            except (ValueError, OSError):
                continue
            if parent == self.process.pid:
                found.append(int(entry))
        return found
