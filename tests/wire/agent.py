"""An aclsnmpd of its own for each test, and the SNMP tools to ask it."""

import json
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import zlib

ACLSNMPD = os.environ["ACLSNMPD"]
SOURCE_DIR = os.environ["SOURCE_DIR"]
EXAMPLE = os.path.join(SOURCE_DIR, "examples", "acls.json")
ROOT = (1, 3, 6, 1, 4, 1, 32473, 3, 5)
OBJECTS = ROOT + (1,)
# How long anything may take; a loaded machine is slow, a broken agent is never in time.
PATIENCE = 60

CONFIGURATION = """
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
createUser reader SHA "reader-auth-pass" AES "reader-priv-pass"
rouser reader priv
"""


def table(group, number):
    """The OID of a table: group 1 is IPv4, 2 MAC, 3 IPv6; number 1 ACLs, 2 rules, 3 statistics."""
    return OBJECTS + (group, number)


def name_index(name):
    octets = name if isinstance(name, bytes) else name.encode()
    return (len(octets),) + tuple(octets)


def dotted(oid):
    return "." + ".".join(map(str, oid))


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(condition, what):
    deadline = time.monotonic() + PATIENCE
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError("waited in vain for " + what)
        time.sleep(0.02)


def acl_set(name, acl_type="ACL_IPV4", entries=(), **config):
    """An acl-set of a document. A name given as octets goes into the augmentation's leaf."""
    leaves = {"type": acl_type}
    if isinstance(name, bytes):
        leaves["name"] = "octets-%08x" % zlib.crc32(name)
        leaves["zorlen-acl-ext:name-octets"] = name.hex()
    else:
        leaves["name"] = name
    for leaf, value in config.items():
        leaves["zorlen-acl-ext:" + leaf.replace("_", "-")] = value
    return {
        "name": leaves["name"],
        "type": acl_type,
        "config": leaves,
        "acl-entries": {"acl-entry": list(entries)},
    }


def entry(seq, action="ACCEPT", pkts=None, **containers):
    made = {
        "sequence-id": seq,
        "config": {"sequence-id": seq},
        "actions": {"config": {"forwarding-action": action}},
    }
    if pkts is not None:
        made["state"] = {"matched-packets": str(pkts)}
    made.update(containers)
    return made


def document(*sets):
    return {"openconfig-acl:acl": {"acl-sets": {"acl-set": list(sets)}}}


LINE = re.compile(r"^(\.[0-9.]+) = (.*)$", re.S)


def parse_values(output):
    """The varbinds of a tool's output as (oid, type, value)."""
    found = []
    for line in output.splitlines():
        match = LINE.match(line)
        if not match:
            if line.strip() and found and found[-1][1] == "Hex-STRING":
                oid, kind, value = found[-1]
                found[-1] = (oid, kind, value + bytes.fromhex(line.strip()))
                continue
            if line.strip():
                raise AssertionError("not a varbind: " + line)
            continue
        oid = tuple(int(part) for part in match.group(1).split(".")[1:])
        text = match.group(2)
        if text == '""':
            found.append((oid, "Hex-STRING", b""))
        elif text.startswith(("No Such", "No more variables")):
            found.append((oid, text.split(" (")[0], None))
        else:
            kind, _, value = text.partition(": ")
            if kind == "Hex-STRING":
                found.append((oid, kind, bytes.fromhex(value.strip())))
            elif kind == "Timeticks":
                found.append((oid, kind, int(re.search(r"\((\d+)\)", value).group(1))))
            elif kind in ("INTEGER", "Gauge32", "Counter64", "Counter32"):
                found.append((oid, kind, int(value)))
            else:
                found.append((oid, kind, value))
    return found


class Agent:
    def __init__(self, acls=None, arguments=(), configuration=CONFIGURATION, wait=True,
                 listen=True, prefix=(), environment=None, **popen):
        """`prefix` is a command that runs the agent; `popen` what subprocess.Popen takes besides."""
        self.folder = tempfile.mkdtemp(prefix="aclsnmp-wire-")
        self.port = free_port()
        self.address = "127.0.0.1:%d" % self.port
        self.config_file = os.path.join(self.folder, "aclsnmpd.conf")
        self.log_file = os.path.join(self.folder, "log")
        self.files = []
        with open(self.config_file, "w") as out:
            out.write(configuration.replace("@ADDRESS@", "udp:" + self.address))
        if acls is not None:
            self.files.append(os.path.join(self.folder, "acls.json"))
            self.write(acls)
        command = [*prefix, *self.launch_prefix(), ACLSNMPD, "--conf", self.config_file]
        if listen:
            command += ["--listen", "udp:" + self.address]
        for file in self.files:
            command += ["--acl", file]
        with open(self.log_file, "w") as log:
            self.process = subprocess.Popen(
                command + list(arguments),
                stdout=log,
                stderr=subprocess.STDOUT,
                env={**os.environ, "SNMP_PERSISTENT_DIR": os.path.join(self.folder, "state"),
                     **(environment or {})},
                **popen,
            )
        if wait:
            try:
                self.wait_for_log("is ready")
                if acls is not None:
                    self.wait_for_log("acls.json: loaded")
            except AssertionError:
                self.process.kill()
                self.process.wait()
                raise

    def launch_prefix(self):
        """What stands before the agent's command, for those that start it elsewhere."""
        return []

    def tool_prefix(self):
        return []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends the agent and requires that it ends well; a sanitizer's finding is an exit code."""
        try:
            if self.process.poll() is None:
                self.process.send_signal(signal.SIGTERM)
            code = self.process.wait(PATIENCE)
            if code != 0:
                raise AssertionError("the agent ended with %d:\n%s" % (code, self.log()))
        finally:
            if self.process.poll() is None:
                self.process.kill()
                self.process.wait()
            shutil.rmtree(self.folder, ignore_errors=True)

    def write(self, acls, how="rename"):
        """Changes the document: by an atomic rename, or by truncating and writing it."""
        text = acls if isinstance(acls, (str, bytes)) else json.dumps(acls)
        data = text if isinstance(text, bytes) else text.encode()
        target = self.files[0]
        if how == "rename":
            with open(target + ".new", "wb") as out:
                out.write(data)
            os.rename(target + ".new", target)
        else:
            with open(target, "wb") as out:
                out.write(data)

    def log(self):
        with open(self.log_file, errors="replace") as log:
            return log.read()

    def wait_for_log(self, text, count=1):
        def said():
            if self.process.poll() is not None:
                raise AssertionError("the agent ended:\n" + self.log())
            return self.log().count(text) >= count

        wait_for(said, "'%s' in the log:\n%s" % (text, self.log()))

    # Asking it.

    V2C = ("-v2c", "-c", "public")

    def run(self, tool, *arguments, security=V2C, check=True, address=None):
        """A tool's completed run, with all values in a form that loses nothing."""
        address = address or self.address
        result = subprocess.run(
            [*self.tool_prefix(), tool, "-m", "", "-Onex", "-t", "10", "-r", "2", *security,
             address, *arguments],
            capture_output=True,
            text=True,
            errors="replace",
            env=dict(os.environ, MIBS="", SNMP_PERSISTENT_DIR=self.folder + "/client"),
            timeout=PATIENCE,
        )
        if check and result.returncode != 0:
            raise AssertionError("%s %s: %s" % (tool, arguments, result.stdout + result.stderr))
        return result

    def get(self, *oids, **options):
        return parse_values(self.run("snmpget", *map(dotted, oids), **options).stdout)

    def getnext(self, *oids, **options):
        return parse_values(self.run("snmpgetnext", *map(dotted, oids), **options).stdout)

    def walk(self, oid=OBJECTS, **options):
        found = parse_values(self.run("snmpwalk", "-Cc", dotted(oid), **options).stdout)
        return [bind for bind in found if bind[2] is not None]

    def bulkwalk(self, oid=OBJECTS, repetitions=10, **options):
        found = parse_values(
            self.run("snmpbulkwalk", "-Cc", "-Cr%d" % repetitions, dotted(oid), **options).stdout
        )
        return [bind for bind in found if bind[2] is not None]

    def wait_for_walk(self, condition, oid=OBJECTS, what="the tables"):
        return wait_for(lambda: condition(self.walk(oid)), what)
