"""Who may read what, and whom the agent is when it runs."""

import json
import os
import shutil
import subprocess
import tempfile
import unittest

from agent import ACLSNMPD, Agent, OBJECTS, acl_set, document, entry, table, wait_for

SCALAR = OBJECTS + (4, 0)
ACLS, RULES, COUNTERS = table(1, 1), table(1, 2), table(1, 3)
DOCUMENT = document(acl_set("a", entries=[entry(10, pkts=3)], counters_enabled=True))

# One user for each security level, and views that show all, hide a table, or show only one.
CONFIGURATION = """
createUser none
createUser auth SHA "auth-pass-phrase"
createUser priv SHA "auth-pass-phrase" AES "priv-pass-phrase"
createUser more SHA "auth-pass-phrase" AES "priv-pass-phrase"
createUser half SHA "auth-pass-phrase" AES "priv-pass-phrase"
createUser stranger SHA "auth-pass-phrase"
view all included .1
view half included .1.3.6.1.4.1.32473.3.5
view half excluded .1.3.6.1.4.1.32473.3.5.1.1.2
view onlyRules included .1.3.6.1.4.1.32473.3.5.1.1.2
rouser none noauth -V all
rouser auth auth -V all
rouser priv priv -V all
rouser more auth -V all
rouser half priv -V half
com2sec -Cn "" outsider 127.0.0.1 rules
group rulesGroup v2c outsider
access rulesGroup "" v2c noauth exact onlyRules none none
"""


def v3(user, level="noAuthNoPriv", auth="auth-pass-phrase", priv="priv-pass-phrase"):
    security = ["-v3", "-u", user, "-l", level, "-t", "1", "-r", "3"]
    if level != "noAuthNoPriv":
        security += ["-a", "SHA", "-A", auth]
    if level == "authPriv":
        security += ["-x", "AES", "-X", priv]
    return security


PRIV = v3("priv", "authPriv")


class Users(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = Agent(DOCUMENT, configuration=CONFIGURATION)
        try:
            wait_for(lambda: len(cls.agent.walk(COUNTERS, security=PRIV)) == 2, "the counters")
        except AssertionError:
            cls.agent.close()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.agent.close()

    def tables(self, security):
        found = {bind[0][len(OBJECTS):][:2] for bind in self.agent.walk(OBJECTS, security=security)}
        return {pair for pair in found if pair[0] == 1}

    def test_each_level_reads_with_its_user(self):
        for security in (v3("none"), v3("auth", "authNoPriv"), PRIV):
            self.assertEqual(self.tables(security), {(1, 1), (1, 2), (1, 3)})

    def test_a_higher_level_than_asked_for_is_welcome(self):
        for level in ("authNoPriv", "authPriv"):
            self.assertEqual(self.agent.get(SCALAR, security=v3("more", level))[0][1], "Hex-STRING")

    def test_who_is_not_who_he_says_reads_nothing_and_is_told_why(self):
        cases = [
            (v3("nobody"), "Unknown user name"),
            (v3("nobody", "authPriv"), "Unknown user name"),
            (v3("priv", "authPriv", auth="another-pass"), "Authentication failure"),
            (v3("auth", "authNoPriv", auth="another-pass"), "Authentication failure"),
            # What does not decrypt is not even a request.
            (v3("priv", "authPriv", priv="another-pass"), "(Timeout|Decryption error)"),
            (v3("priv", "authNoPriv"), "authorizationError"),
            (v3("priv"), "authorizationError"),
            (v3("auth"), "authorizationError"),
            (v3("stranger", "authNoPriv"), "authorizationError"),
            (["-v2c", "-c", "public", "-t", "1", "-r", "1"], "Timeout"),
            (["-v1", "-c", "rules", "-t", "1", "-r", "1"], "Timeout"),
        ]
        for security, reason in cases:
            with self.subTest(security=security):
                result = self.agent.run("snmpget", "." + ".".join(map(str, SCALAR)),
                                        security=security, check=False)
                self.assertNotEqual(result.returncode, 0)
                self.assertRegex(result.stdout + result.stderr, reason)
                self.assertNotIn("STRING", result.stdout)

    def test_a_view_hides_a_table_from_every_way_of_asking(self):
        half = v3("half", "authPriv")
        self.assertEqual(self.tables(half), {(1, 1), (1, 3)})
        rule = self.agent.walk(RULES, security=PRIV)[0][0]
        self.assertEqual(self.agent.get(rule, security=half)[0][1:],
                         ("No Such Object available on this agent at this OID", None))
        everything = self.agent.walk(OBJECTS, security=PRIV)
        seen = [bind for bind in everything if bind[0][:len(RULES)] != RULES]
        self.assertEqual(self.agent.walk(OBJECTS, security=half), seen)
        self.assertEqual(self.agent.bulkwalk(OBJECTS, repetitions=50, security=half), seen)
        before = max(bind[0] for bind in everything if bind[0] < RULES)
        self.assertEqual(self.agent.getnext(before, security=half)[0][0][:len(COUNTERS)], COUNTERS)

    def test_a_view_of_one_table_shows_nothing_else(self):
        rules = ["-v2c", "-c", "rules"]
        self.assertEqual(self.tables(rules), {(1, 2)})
        self.assertIn("No Such", self.agent.get(SCALAR, security=rules)[0][1])

    def test_writing_is_refused_for_everybody(self):
        rule = self.agent.walk(RULES, security=PRIV)[0][0]
        result = self.agent.run("snmpset", "." + ".".join(map(str, rule)), "i", "1",
                                security=PRIV, check=False)
        self.assertIn("noAccess", result.stdout + result.stderr)


@unittest.skipUnless(os.geteuid() == 0, "only root can become somebody else")
class Identity(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="aclsnmp-identity-")
        os.chmod(self.folder, 0o755)
        self.file = os.path.join(self.folder, "acls.json")
        with open(self.file, "w") as out:
            json.dump(DOCUMENT, out)
        self.state = os.path.join(self.folder, "state")
        os.mkdir(self.state)
        os.chown(self.state, 65534, 65534)

    def tearDown(self):
        shutil.rmtree(self.folder)

    def agent(self, *arguments, configuration=CONFIGURATION):
        return Agent(arguments=["--acl", self.file, *arguments], configuration=configuration,
                     environment={"SNMP_PERSISTENT_DIR": self.state})

    def status(self, agent):
        """What all threads of the agent are: they must agree."""
        kinds = set()
        for thread in os.listdir("/proc/%d/task" % agent.process.pid):
            with open("/proc/%d/task/%s/status" % (agent.process.pid, thread)) as status:
                fields = dict(line.rstrip("\n").split(":", 1) for line in status)
            kinds.add((tuple(fields["Uid"].split()), tuple(fields["Gid"].split()),
                       fields["CapPrm"].strip(), fields["CapEff"].strip(),
                       fields["NoNewPrivs"].strip()))
        self.assertEqual(len(kinds), 1)
        return kinds.pop()

    def test_it_becomes_the_user_of_the_command_line_or_of_the_configuration(self):
        none = "0" * 16
        nobody = (("65534",) * 4, ("65534",) * 4, none, none, "1")
        daemon = (("65534",) * 4, ("1",) * 4, none, none, "1")
        cases = [
            (["--user", "nobody"], "", nobody),
            (["--user", "65534"], "", nobody),
            (["--user", "nobody:daemon"], "", daemon),
            (["--user", "nobody:1"], "", daemon),
            ([], "agentuser nobody\n", nobody),
            ([], "agentuser nobody\nagentgroup daemon\n", daemon),
            (["--user", "nobody"], "agentuser daemon\n", nobody),
        ]
        for arguments, lines, expected in cases:
            with self.subTest(arguments=arguments, lines=lines):
                with self.agent(*arguments, configuration=CONFIGURATION + lines) as agent:
                    wait_for(lambda: len(agent.walk(COUNTERS, security=PRIV)) == 2, "the counters")
                    self.assertEqual(self.status(agent), expected)

    def test_without_a_user_it_stays_who_it_is(self):
        with self.agent() as agent:
            self.assertEqual(self.status(agent)[0], ("0",) * 4)

    def test_a_port_below_1024_is_opened_before(self):
        with self.agent("--user", "nobody", "--listen", "udp:127.0.0.1:983") as agent:
            self.assertEqual(
                agent.get(SCALAR, security=PRIV, address="127.0.0.1:983")[0][1], "Hex-STRING")

    def test_a_document_that_the_user_may_not_read_is_refused_until_he_may(self):
        os.chmod(self.file, 0o600)
        with self.agent("--user", "nobody") as agent:
            agent.wait_for_log("Permission denied")
            os.chmod(self.file, 0o644)
            wait_for(lambda: len(agent.walk(COUNTERS, security=PRIV)) == 2, "the counters")

    def test_a_user_or_group_that_is_not_known_ends_the_start(self):
        for user, line in [
            ("who-is-that", "aclsnmpd: user 'who-is-that' is not known\n"),
            ("4294967295:1", "aclsnmpd: user '4294967295' is not known\n"),
            ("nobody:what-is-that", "aclsnmpd: group 'what-is-that' is not known\n"),
            ("3999999999", "aclsnmpd: user '3999999999' is not known\n"),
        ]:
            result = subprocess.run([ACLSNMPD, "--user", user, "--listen", "udp:127.0.0.1:0",
                                     "--conf", "/dev/null"],
                                    capture_output=True, text=True, timeout=60)
            self.assertEqual(result.returncode, 1)
            self.assertTrue(result.stderr.endswith(line), result.stderr)

    def test_who_is_not_root_cannot_become_somebody_else(self):
        result = subprocess.run(
            ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", "--",
             ACLSNMPD, "--user", "daemon", "--listen", "udp:127.0.0.1:0", "--conf", "/dev/null"],
            capture_output=True, text=True, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, "aclsnmpd: user 1 and group 1 cannot be taken on: .+\n$")


if __name__ == "__main__":
    unittest.main()
