"""What Prometheus' SNMP exporter makes of the example document with the configuration we ship."""

import json
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest
import urllib.error
import urllib.request

from agent import EXAMPLE, OBJECTS, SOURCE_DIR, Agent, wait_for
from clients import ClientTest, cannot_be_had
from expected import golden

SHIPPED = os.path.join(SOURCE_DIR, "packaging", "prometheus")
EXPORTER = "prometheus-snmp-exporter"
GENERATOR = "prometheus-snmp-generator"
if shutil.which(EXPORTER) is None:
    cannot_be_had(EXPORTER)

ACTIONS = {0: "permit", 1: "deny"}
FEATURES = ["acl", "logging", "counters", "routerAcl"]
FLAGS = {2: "ReadOnly", 3: "StatsEnabled", 4: "CountersIncomplete"}
# Per group of tables: what its objects are called, and the column of a rule's action, which those
# of logging and of the remark follow.
GROUPS = {1: ("Ip", 19), 2: ("Mac", 7), 3: ("Ipv6", 17)}
V2C_LINES = "  version: 2\n  auth:\n    community: public\n"
V3_LINES = """  version: 3
  auth:
    username: reader
    security_level: authPriv
    password: reader-auth-pass
    auth_protocol: SHA
    priv_protocol: AES
    priv_password: reader-priv-pass
"""
SAMPLE = re.compile(r'^(\w+)(?:\{((?:\w+="(?:[^"\\]|\\.)*",?)*)\})? (\S+)$')
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
ESCAPES = {"\\n": "\n", '\\"': '"', "\\\\": "\\"}


def as_text(octets):
    return octets.decode()


def as_hex(octets):
    return "0x" + octets.hex().upper() if octets else ""


def wrapped(count):
    """The exporter's way with counts that a float cannot hold exactly, unless told otherwise."""
    return float(count % 2**53)


def expected_samples(tree, shown=as_text, counted=wrapped):
    """What must be scraped for a tree: {(metric, its labels): value}."""
    samples = {}

    def add(metric, value, **labels):
        samples[metric, frozenset(labels.items())] = float(value)

    for oid, _, value in tree:
        part = oid[len(OBJECTS) :]
        if part == (4, 0):
            for place, feature in enumerate(FEATURES):
                on = value[0] & (0x80 >> place)
                add("zorlenAclDpSupportFlags", on != 0, zorlenAclDpSupportFlags=feature)
            continue
        group, number, _, column, *index = part
        called, action = GROUPS[group]
        prefix = "zorlen%sAcl" % called
        labels = {}
        if number == 3:
            labels[prefix + "RuleTimeMark"] = str(index.pop(0))
        labels[prefix + "Name"] = shown(bytes(index[1 : 1 + index[0]]))
        if number == 1:
            add(prefix + FLAGS[column], value == 1, **labels)
            continue
        labels[prefix + "RuleSeqId"] = str(index[-1])
        if number == 3:
            if column == 2:
                add(prefix + "RuleStatsPktCount", counted(value), **labels)
        elif column == action:
            info = {prefix + "RuleAction": ACTIONS[value]}
            add(prefix + "RuleAction_info", 1, **labels, **info)
        elif column == action + 1:
            add(prefix + "RuleLog", value == 1, **labels)
        elif column == action + 2:
            add(prefix + "RuleRemark", 1, **labels, **{prefix + "RuleRemark": shown(value)})
    return samples


def parse(exposed):
    """The samples of our own metrics in an exporter's answer, and the types of the metrics."""
    samples, types = {}, {}
    for line in exposed.splitlines():
        if line.startswith("# TYPE "):
            _, _, metric, kind = line.split()
            types[metric] = kind
        if not line.startswith("zorlen"):
            continue
        metric, labels, value = SAMPLE.match(line).groups()
        found = frozenset(
            (name, re.sub(r"\\.", lambda escape: ESCAPES[escape.group()], text))
            for name, text in LABEL.findall(labels or "")
        )
        if (metric, found) in samples:
            raise AssertionError("twice: " + line)
        samples[metric, found] = float(value)
    return samples, types


class Exporter:
    """An exporter on a loopback port, with the configuration given as text."""

    def __init__(self, configuration, *arguments):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.address = "127.0.0.1:%d" % probe.getsockname()[1]
        self.folder = tempfile.mkdtemp(prefix="aclsnmp-exporter-")
        file = os.path.join(self.folder, "snmp.yml")
        with open(file, "w") as out:
            out.write(configuration)
        self.log_file = os.path.join(self.folder, "log")
        with open(self.log_file, "w") as log:
            self.process = subprocess.Popen(
                [EXPORTER, "--config.file=" + file, "--web.listen-address=" + self.address,
                 *arguments],
                stdout=log,
                stderr=subprocess.STDOUT,
            )

    def __enter__(self):
        try:
            wait_for(self.listens, "the exporter")
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def listens(self):
        if self.process.poll() is not None:
            with open(self.log_file) as log:
                raise AssertionError("the exporter ended:\n" + log.read())
        try:
            return self.fetch("/")
        except urllib.error.URLError:
            return None

    def fetch(self, path):
        # A proxy of the environment has no business on the loopback interface.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open("http://" + self.address + path, timeout=60) as answer:
            return answer.read().decode()

    def scrape(self, agent, module):
        try:
            return parse(self.fetch("/snmp?target=%s&module=%s" % (agent.address, module)))
        except urllib.error.HTTPError as error:
            raise AssertionError("the scrape failed:\n" + error.read().decode(errors="replace"))


def shipped():
    with open(os.path.join(SHIPPED, "snmp.yml")) as file:
        return file.read()


def example_in_text():
    """The example without the ACLs whose name is no text."""
    with open(EXAMPLE) as file:
        document = json.load(file)
    sets = document["openconfig-acl:acl"]["acl-sets"]
    whole = len(sets["acl-set"])
    sets["acl-set"] = [
        acl for acl in sets["acl-set"] if "zorlen-acl-ext:name-octets" not in acl["config"]
    ]
    assert 6 <= len(sets["acl-set"]) < whole
    return document


class Scrapes(ClientTest):
    @classmethod
    def make_agent(cls):
        agent = Agent(acls=example_in_text())
        cls.tree = golden(agent.files[0])
        return agent

    def assertSamples(self, found, expected):
        """Like assertEqual of both, with a report that names the first differences only."""
        wrong = [
            "%s %s: %s in place of %s"
            % (key[0], sorted(key[1]), found.get(key), expected.get(key))
            for key in sorted(found.keys() | expected.keys(), key=lambda k: (k[0], sorted(k[1])))
            if found.get(key) != expected.get(key)
        ]
        if wrong:
            self.fail("%d differ:\n%s" % (len(wrong), "\n".join(wrong[:20])))

    def test_every_sample(self):
        with Exporter(shipped()) as exporter:
            found, types = exporter.scrape(self.agent, "zorlen_acl")
        self.assertSamples(found, expected_samples(self.tree))
        # There is something of each kind, and both answers of each flag.
        for metric, values in [
            ("zorlenIpAclStatsEnabled", {0, 1}),
            ("zorlenIpAclReadOnly", {0, 1}),
            ("zorlenIpAclRuleLog", {0, 1}),
            ("zorlenAclDpSupportFlags", {0, 1}),
            ("zorlenMacAclRuleRemark", {1}),
        ]:
            self.assertEqual({v for (m, _), v in found.items() if m == metric}, values, metric)
        for called in ("Ip", "Mac", "Ipv6"):
            self.assertEqual(types["zorlen%sAclRuleStatsPktCount" % called], "counter")
            self.assertEqual(types["zorlen%sAclStatsEnabled" % called], "gauge")

    def test_counts_as_floats(self):
        with Exporter(shipped(), "--no-snmp.wrap-large-counters") as exporter:
            found, _ = exporter.scrape(self.agent, "zorlen_acl")
        self.assertSamples(found, expected_samples(self.tree, counted=float))
        self.assertIn(float(2**64 - 1), found.values())

    def test_snmpv3_with_authentication_and_privacy(self):
        self.assertIn(V2C_LINES, shipped())
        with Exporter(shipped().replace(V2C_LINES, V3_LINES)) as exporter:
            found, _ = exporter.scrape(self.agent, "zorlen_acl")
        self.assertSamples(found, expected_samples(self.tree))

    def test_names_of_any_octets_in_hexadecimal(self):
        with Agent(arguments=["--acl", EXAMPLE]) as agent, Exporter(shipped()) as exporter:
            tree = golden(EXAMPLE)
            wait_for(lambda: len(agent.bulkwalk()) == len(tree), "the whole tree")
            found, _ = exporter.scrape(agent, "zorlen_acl_hex")
        self.assertSamples(found, expected_samples(tree, shown=as_hex))
        names = {text for _, labels in found for name, text in labels if name.endswith("AclName")}
        self.assertIn("0x6C6162C3FF", names)

    def test_a_changed_count_is_scraped(self):
        document = example_in_text()
        acls = document["openconfig-acl:acl"]["acl-sets"]["acl-set"]
        entry = next(e for a in acls for e in a["acl-entries"]["acl-entry"] if "state" in e)
        with Agent(acls=document) as agent, Exporter(shipped()) as exporter:
            for count in (7654321, 7654322):
                entry["state"]["matched-packets"] = str(count)
                agent.write(document)
                expected = expected_samples(golden(agent.files[0]))
                self.assertIn(count, expected.values())
                wait_for(
                    lambda: exporter.scrape(agent, "zorlen_acl")[0] == expected,
                    "the count %d" % count,
                )


class Configuration(unittest.TestCase):
    def test_snmp_yml_is_what_the_generator_makes_of_generator_yml(self):
        mibs = [os.path.join(SOURCE_DIR, place) for place in ("mibs", "tests/mibs")]
        with tempfile.TemporaryDirectory(prefix="aclsnmp-generator-") as folder:
            shutil.copy(os.path.join(SHIPPED, "generator.yml"), folder)
            result = subprocess.run(
                [GENERATOR, "--fail-on-parse-errors", "generate", "-o", "snmp.yml"],
                cwd=folder,
                capture_output=True,
                text=True,
                env=dict(os.environ, MIBDIRS=":".join(mibs), SNMP_PERSISTENT_DIR=folder),
                timeout=60,
            )
            self.assertEqual(result.returncode, 0, result.stderr)
            with open(os.path.join(folder, "snmp.yml")) as made:
                self.assertEqual(made.read(), shipped())


if __name__ == "__main__":
    unittest.main()
