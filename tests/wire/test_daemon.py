"""The process: command line, signals, several documents, contexts, faults at start."""

import os
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest

from agent import (
    ACLSNMPD,
    CONFIGURATION,
    Agent,
    OBJECTS,
    acl_set,
    document,
    entry,
    free_port,
    name_index,
    table,
    wait_for,
)
import json


def run(*arguments):
    return subprocess.run([ACLSNMPD, *arguments], capture_output=True, text=True, timeout=60)


def names(agent):
    column = table(1, 1) + (1, 2)
    return [bytes(oid[len(column) + 1 :]) for oid, _, _ in agent.walk(column)]


class CommandLine(unittest.TestCase):
    def test_version_and_help_end_well(self):
        self.assertRegex(run("--version").stdout, r"^aclsnmpd \d+\.\d+\.\d+\n$")
        usage = run("--help")
        self.assertEqual(usage.returncode, 0)
        for option in ("--acl", "--listen", "--conf", "--plugin-dir", "--context", "--trace",
                       "--trace-file", "--user", "--nftables",
                       "--nftables-interval", "--check", "--dump", "--version", "--help"):
            self.assertIn(option, usage.stdout)

    def test_a_mistake_is_named(self):
        for arguments, text in [
            (["--nonsense"], "--nonsense"),
            (["--trace", "Snmp=ten"], "trace setting 'Snmp=ten': expected NAME=LEVEL"),
        ]:
            result = run(*arguments)
            self.assertNotEqual(result.returncode, 0)
            self.assertIn(text, result.stdout + result.stderr)

    def test_check_accepts_good_documents_and_names_what_is_wrong(self):
        with tempfile.TemporaryDirectory() as folder:
            good, bad = os.path.join(folder, "good.json"), os.path.join(folder, "bad.json")
            with open(good, "w") as out:
                json.dump(document(acl_set("a", entries=[entry(10)])), out)
            with open(bad, "w") as out:
                json.dump(document(acl_set("a", entries=[entry(10, action="MAYBE")])), out)
            self.assertEqual(run("--check", "--acl", good).returncode, 0)
            result = run("--check", "--acl", good, "--acl", bad)
            self.assertEqual(result.returncode, 1)
            self.assertIn(bad, result.stderr)
            self.assertIn("MAYBE", result.stderr)
            missing = run("--check", "--acl", os.path.join(folder, "missing.json"))
            self.assertEqual(missing.returncode, 1)
            self.assertIn("missing.json", missing.stderr)

    def test_faults_at_start_are_one_clear_line(self):
        with tempfile.TemporaryDirectory() as folder:
            cases = [
                (["--plugin-dir", folder], "holds no plug-in"),
                (["--plugin-dir", folder + "/none"], "cannot be read: No such file or directory"),
                (["--conf", folder + "/none.conf"], "none.conf' cannot be read"),
                (["--trace-file", folder + "/none/trace"], "cannot be opened"),
            ]
            for arguments, text in cases:
                result = run(*arguments)
                self.assertEqual(result.returncode, 1, arguments)
                self.assertIn(text, result.stderr)

    def test_a_port_in_use_is_named(self):
        with Agent() as agent:
            result = run("--conf", agent.config_file, "--listen", "udp:" + agent.address)
            self.assertEqual(result.returncode, 1)
            self.assertIn("cannot listen on udp:" + agent.address, result.stderr)


class StandardObjects(unittest.TestCase):
    """What any agent of the library tells of itself, for the tools that ask for it first."""

    SYSTEM = (1, 3, 6, 1, 2, 1, 1)
    BAD_COMMUNITIES = (1, 3, 6, 1, 2, 1, 11, 4, 0)
    ENGINE_ID = (1, 3, 6, 1, 6, 3, 10, 2, 1, 1, 0)
    UNKNOWN_USERS = (1, 3, 6, 1, 6, 3, 15, 1, 1, 3, 0)

    def test_the_system_group_and_the_engine_are_served(self):
        configuration = CONFIGURATION + "sysLocation rack 7\nsysContact noc@example.org\n"
        with Agent(configuration=configuration) as agent:
            served = {oid: (kind, value) for oid, kind, value in agent.walk(self.SYSTEM)}
            self.assertEqual(bytes(served[self.SYSTEM + (6, 0)][1]), b"rack 7")
            self.assertEqual(bytes(served[self.SYSTEM + (4, 0)][1]), b"noc@example.org")
            self.assertEqual(served[self.SYSTEM + (3, 0)][0], "Timeticks")
            modules = [oid for oid in served if oid[:10] == self.SYSTEM + (9, 1, 3)]
            self.assertTrue(modules, "sysORTable")
            engine = agent.get(self.ENGINE_ID)[0][2]
            self.assertTrue(5 <= len(engine) <= 32, engine)

    def test_refused_requests_are_counted(self):
        refused = (
            (self.BAD_COMMUNITIES, ("-v2c", "-c", "wrong")),
            (self.UNKNOWN_USERS, ("-v3", "-u", "nobody", "-l", "noAuthNoPriv")),
        )
        with Agent() as agent:
            for counter, security in refused:
                before = agent.get(counter)[0]
                self.assertEqual(before[1], "Counter32")
                agent.run("snmpget", ".1.3.6.1.2.1.1.3.0", security=(*security, "-t", "1", "-r", "0"),
                          check=False)
                self.assertEqual(agent.get(counter)[0][2], before[2] + 1, security)


class Process(unittest.TestCase):
    def test_sigterm_and_sigint_end_it_cleanly(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            agent = Agent(document(acl_set("a")))
            agent.process.send_signal(number)
            self.assertEqual(agent.process.wait(60), 0)
            self.assertIn("aclsnmpd ends", agent.log())
            agent.close()

    def test_it_listens_where_the_configuration_says(self):
        configuration = CONFIGURATION + "agentaddress @ADDRESS@\n"
        with Agent(document(acl_set("a")), configuration=configuration, listen=False) as agent:
            wait_for(lambda: names(agent) == [b"a"], "the ACL")

    def test_without_any_address_it_listens_on_loopback_only(self):
        agent = Agent(listen=False, wait=False)
        try:
            wait_for(lambda: "is ready" in agent.log() or agent.process.poll() is not None, "a start")
            if agent.process.poll() is None:
                with open("/proc/net/udp") as sockets:
                    bound = [line.split()[1] for line in sockets]
                self.assertIn("0100007F:00A1", bound)
                self.assertNotIn("00000000:00A1", bound)
            else:
                # The port needs a privilege, or is taken; the address is named all the same.
                self.assertIn("cannot listen on udp:127.0.0.1:161", agent.log())
        finally:
            agent.process.terminate()
            agent.process.wait()
            shutil.rmtree(agent.folder, ignore_errors=True)

    def test_an_address_on_the_command_line_replaces_the_configured_one(self):
        other = free_port()
        configuration = CONFIGURATION + "agentaddress udp:127.0.0.1:%d\n" % other
        with Agent(document(acl_set("a")), configuration=configuration) as agent:
            wait_for(lambda: names(agent) == [b"a"], "the ACL")
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
                probe.bind(("127.0.0.1", other))  # nobody else has it

    def test_without_access_control_nobody_reads(self):
        with Agent(document(acl_set("a")), configuration="") as agent:
            security = ("-v2c", "-c", "public", "-t", "1", "-r", "0")
            result = agent.run("snmpget", "." + ".".join(map(str, OBJECTS + (4, 0))),
                               security=security, check=False)
            self.assertNotIn("STRING", result.stdout)

    def test_sighup_reads_the_documents_anew(self):
        with Agent(document(acl_set("a"))) as agent:
            for count in range(2, 5):
                agent.process.send_signal(signal.SIGHUP)
                agent.wait_for_log("acls.json: loaded 1 ACL", count)
            self.assertEqual(names(agent), [b"a"])

    def test_a_document_that_comes_later_is_served(self):
        with Agent() as other:
            folder = other.folder
            late = os.path.join(folder, "late.json")
            with Agent(arguments=["--acl", late]) as agent:
                agent.wait_for_log("late.json")
                self.assertEqual(names(agent), [])
                with open(late, "w") as out:
                    json.dump(document(acl_set("late")), out)
                wait_for(lambda: names(agent) == [b"late"], "the ACL of the late document")

    def test_of_two_acls_of_one_name_the_later_document_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            second = os.path.join(folder, "second.json")
            with open(second, "w") as out:
                json.dump(document(acl_set("same", entries=[entry(20)]), acl_set("own")), out)
            first = document(acl_set("same", entries=[entry(10)]))
            with Agent(first, arguments=["--acl", second]) as agent:
                wait_for(lambda: names(agent) == [b"own", b"same"], "both documents")
                rules = table(1, 2) + (1, 2) + name_index("same")
                wait_for(
                    lambda: [oid for oid, _, _ in agent.walk(rules)] == [rules + (10,)],
                    "the first document's rule",
                )
                self.assertEqual(agent.log().count("refused ipv4 ACL 'same'"), 1)
                agent.write(document())
                wait_for(
                    lambda: [oid for oid, _, _ in agent.walk(rules)] == [rules + (20,)],
                    "the second document's rule",
                )

    def test_other_contexts_hold_no_objects(self):
        security = ("-v3", "-u", "reader", "-l", "authPriv", "-a", "SHA", "-A",
                    "reader-auth-pass", "-x", "AES", "-X", "reader-priv-pass")
        with Agent(document(acl_set("a")), arguments=["--context", "blue"]) as agent:
            wait_for(lambda: names(agent) == [b"a"], "the ACL")
            self.assertNotEqual(agent.walk(OBJECTS, security=security), [])
            other = agent.run("snmpwalk", "." + ".".join(map(str, OBJECTS)),
                              security=security + ("-n", "blue", "-t", "1", "-r", "0"), check=False)
            self.assertNotIn("INTEGER", other.stdout)

    def test_traces_go_to_their_file(self):
        with tempfile.TemporaryDirectory() as folder:
            file = os.path.join(folder, "trace")
            arguments = ["--trace", "Snmp=2,AclSnmpSm=8", "--trace-file", file]
            with Agent(document(acl_set("edge")), arguments=arguments) as agent:
                wait_for(lambda: names(agent) == [b"edge"], "the ACL")
            with open(file) as trace:
                text = trace.read()
            self.assertIn("AclTypeMibSm::handleAclConfig edge\n", text)
            self.assertIn("zorlenIpAclTable_handler: request mode 160\n", text)

    def test_a_full_disk_under_the_trace_file_costs_traces_only(self):
        arguments = ["--trace", "Snmp=9", "--trace-file", "/dev/full"]
        with Agent(document(acl_set("edge")), arguments=arguments) as agent:
            wait_for(lambda: names(agent) == [b"edge"], "the ACL")
            self.assertEqual(agent.log().count("traces are lost: No space left on device"), 1)


if __name__ == "__main__":
    unittest.main()
