"""`--dump`: what the sources publish as a document that can be served again, and as a table."""

import json
import os
import re
import subprocess
import tempfile
import unittest

from agent import ACLSNMPD, EXAMPLE, Agent, acl_set, document, entry, name_index, table, wait_for
from expected import TIME, golden

LAST_UPDATE = re.compile(r'"zorlen-acl-ext:last-update":"(\d+)"')


def dump(*arguments):
    # Nothing of an agent's is there: no plug-in, no configuration, no address.
    nothing = ["--plugin-dir", "/none", "--conf", "/none", "--listen", "udp:192.0.2.1:1"]
    return subprocess.run([ACLSNMPD, *nothing, *arguments], capture_output=True, text=True,
                          errors="surrogateescape", timeout=60)


def times(text):
    return [int(nanoseconds) for nanoseconds in LAST_UPDATE.findall(text)]


class Dump(unittest.TestCase):
    maxDiff = 4000

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, contents):
        path = os.path.join(self.folder, name)
        with open(path, "w") as out:
            out.write(contents if isinstance(contents, str) else json.dumps(contents))
        return path

    def dumped(self, *arguments):
        result = dump(*arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout


class Json(Dump):
    def test_a_dump_of_the_example_is_served_as_the_same_tree(self):
        text = self.dumped("--dump", "--acl", EXAMPLE)
        tree = golden(EXAMPLE)
        with Agent(text) as agent:
            wait_for(lambda: len(agent.bulkwalk()) == len(tree), "the whole tree")
            found = agent.bulkwalk()
            expected = [(oid, kind, got if want is TIME else want)
                        for (oid, kind, want), (_, _, got) in zip(tree, found)]
            self.assertEqual(found, expected)
            # No counter has changed since this agent started.
            times = {oid: value for oid, _, value in found}
            sets = json.loads(text)["openconfig-acl:acl"]["acl-sets"]["acl-set"]
            counted = [table(1, 3) + (1, 3, 0) + name_index(one["name"]) + (rule["sequence-id"],)
                       for one in sets if one["type"] == "ACL_IPV4"
                       for rule in one["acl-entries"]["acl-entry"] if "state" in rule]
            self.assertGreater(len(counted), 10)
            self.assertEqual({times[oid] for oid in counted}, {0})

    def test_a_dump_of_a_dump_is_the_same(self):
        first = self.dumped("--dump", "--acl", EXAMPLE)
        second = self.dumped("--dump", "json", "--acl", self.file("first.json", first))
        self.assertEqual(LAST_UPDATE.sub("", second), LAST_UPDATE.sub("", first))
        # As near as two processes can read two clocks.
        self.assertGreater(len(times(first)), 20)
        for before, after in zip(times(first), times(second)):
            self.assertLess(abs(after - before), 1e9)

    def test_names_of_any_octets_and_the_flags_come_back(self):
        names = [b"", b"\xc3", b"\xff ", b"x" * 100, "na\u00efve".encode()]
        original = document(*[acl_set(name, read_only=True, counters_enabled=True)
                              for name in names])
        original["openconfig-acl:acl"]["zorlen-acl-ext:data-plane"] = {"logging-supported": True}
        text = self.dumped("--dump", "--acl", self.file("a.json", original))
        acl = json.loads(text)["openconfig-acl:acl"]
        self.assertEqual(acl["zorlen-acl-ext:data-plane"],
                         {"acl-supported": False, "logging-supported": True,
                          "counters-supported": False, "router-acl-supported": False})
        found = []
        for one in acl["acl-sets"]["acl-set"]:
            octets = one["config"].get("zorlen-acl-ext:name-octets")
            found.append(bytes.fromhex(octets) if octets is not None else one["name"].encode())
            self.assertTrue(one["config"]["zorlen-acl-ext:read-only"])
            self.assertTrue(one["config"]["zorlen-acl-ext:counters-enabled"])
        self.assertEqual(found, sorted(names))

    def test_of_two_acls_of_one_name_the_published_one_is_printed(self):
        first = self.file("first.json", document(acl_set("same", entries=[entry(10, pkts=1)])))
        second = self.file("second.json", document(acl_set("same", entries=[entry(20, pkts=2)]),
                                                   acl_set("own", entries=[entry(30, pkts=3)])))
        result = dump("--dump", "--acl", first, "--acl", second)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stderr.count("refused ipv4 ACL 'same'"), 1)
        sets = json.loads(result.stdout)["openconfig-acl:acl"]["acl-sets"]["acl-set"]
        found = [(one["name"], rule["sequence-id"], rule["state"]["matched-packets"])
                 for one in sets for rule in one["acl-entries"]["acl-entry"]]
        self.assertEqual(found, [("own", 30, "3"), ("same", 10, "1")])

    def test_without_sources_it_is_an_empty_document(self):
        acl = json.loads(self.dumped("--dump"))["openconfig-acl:acl"]
        self.assertEqual(acl["acl-sets"], {"acl-set": []})


class Table(Dump):
    def test_a_table_for_people(self):
        rules = [
            entry(10, pkts=7, ipv4={"config": {"source-address": "192.0.2.0/24", "protocol": 6}},
                  transport={"config": {"zorlen-acl-ext:destination-ports": [80, 443]}}),
            entry(2000, action="DROP"),
        ]
        rules[0]["config"]["description"] = "Web"
        file = self.file("a.json", document(acl_set("edge", entries=rules, counters_enabled=True),
                                            acl_set("m", "ACL_L2", entries=[entry(1)])))
        self.assertEqual(self.dumped("--dump", "table", "--acl", file), """\
data plane: -

ipv4 'edge': counters
   SEQ  ACTION  PROTO  SOURCE        PORTS  DESTINATION  PORTS   FLAGS  PACKETS  REMARK
    10  permit  tcp    192.0.2.0/24  any    any          80 443  -            7  'Web'
  2000  deny    any    any           any    any          any     -            -

mac 'm': -
  SEQ  ACTION  PROTO  SOURCE  DESTINATION  FLAGS  PACKETS  REMARK
    1  permit  any    any     any          -            -
""")


class Faults(Dump):
    def test_a_source_that_cannot_be_read_is_one_line_and_nothing_is_printed(self):
        good = self.file("good.json", document(acl_set("a")))
        bad = self.file("bad.json", document(acl_set("a", entries=[entry(10, action="MAYBE")])))
        missing = os.path.join(self.folder, "missing.json")
        for files, lines in [([good, missing], 1), ([bad, good], 1), ([bad, missing], 2)]:
            result = dump("--dump", *[word for file in files for word in ("--acl", file)])
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertEqual(len(result.stderr.splitlines()), lines, result.stderr)
            for file in files:
                self.assertEqual(file in result.stderr, file != good)

    def test_a_form_that_is_none_is_refused(self):
        for arguments, text in [(["--dump", "xml"], "xml"), (["--dump=table", "--check"], "--check")]:
            result = dump(*arguments)
            self.assertNotIn(result.returncode, (0, -6))
            self.assertIn(text, result.stderr)
            self.assertEqual(result.stdout, "")

    def test_an_output_that_cannot_be_written_is_named(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([ACLSNMPD, "--dump", "--acl", EXAMPLE], stdout=full,
                                    stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "aclsnmpd: standard output cannot be written\n")


if __name__ == "__main__":
    unittest.main()
