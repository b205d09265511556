"""The live ruleset: rules, numbers and real packets, in network namespaces of the tests' own."""

import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock

from agent import ACLSNMPD, Agent, acl_set, document, dotted, entry, name_index, table, wait_for
import netns
from netns import Net, NamespaceAgent

netns.skip_without_namespaces()

COUNTING = """
table inet filter {
  counter shared { }
  chain input {
    type filter hook input priority 0; policy accept;
    udp dport 5001 counter accept comment "udp"
    tcp dport 5002 tcp flags syn counter drop comment "syn"
    icmp type echo-request counter drop comment "ping"
    ip saddr 192.0.2.2 udp dport 5003 counter name shared accept comment "named"
    meta nfproto ipv6 udp dport 5004 counter accept comment "udp6"
    icmpv6 type echo-request counter drop comment "ping6"
    ip ttl < 5 counter drop comment "far"
    udp dport 5005 accept comment "uncounted"
  }
}
table netdev wire {
  chain ingress {
    type filter hook ingress device in0 priority 0;
    ether type 0x88b5 counter drop comment "frame"
    ether daddr 02:00:00:00:00:09 counter drop comment "address"
  }
}
"""
NEVER = ["--nftables-interval", "3600"]
OFTEN = ["--nftables-interval", "0.2"]


def chain(*rules, name="t"):
    """A transaction that makes the table anew with one chain of these rules."""
    lines = "\n".join("    " + rule for rule in rules)
    return ("add table ip %s\ndelete table ip %s\ntable ip %s {\n  chain c {\n%s\n  }\n}\n"
            % (name, name, name, lines))


class Live(unittest.TestCase):
    def setUp(self):
        self.net = Net()
        self.addCleanup(self.net.close)

    def agent(self, *arguments, **options):
        agent = NamespaceAgent(self.net.inner, arguments, **options)
        self.addCleanup(agent.close)
        return agent

    def numbers(self, agent, name="t/c"):
        """Remark to sequence number of an IPv4 ACL."""
        return {remark: key[1] for key, remark in agent.remarks(1).items() if key[0] == name}

    def wait_for_numbers(self, agent, expected):
        wait_for(lambda: self.numbers(agent) == expected, "the numbers %s" % expected)


class Counters(Live):
    def test_they_are_the_packets_that_were_sent_and_those_that_nft_says(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*OFTEN)
        expected = {"udp": 0, "syn": 0, "ping": 0, "named": 0, "far": 0, "uncounted": 0}
        expected6 = {"udp": 0, "syn": 0, "udp6": 0, "ping6": 0, "uncounted": 0}
        frames = {"frame": 0, "address": 0}
        for factor in (1, 3):
            self.net.udp(7 * factor, 5001)
            self.net.udp(2 * factor, 5001, netns.INNER_IP6)
            self.net.tcp(5 * factor, 5002, 2)
            self.net.tcp(4, 5002, 16)  # no SYN
            self.net.icmp(3 * factor, 8)
            self.net.icmp(6, 13)  # no echo request
            self.net.udp(11 * factor, 5003)
            self.net.udp(13 * factor, 5004, netns.INNER_IP6)
            self.net.udp(1, 5004)  # of the other family
            self.net.icmp6(2 * factor, 128)
            self.net.tcp(6 * factor, 5009, 2, ttl=4)
            self.net.udp(9, 5005)
            self.net.frame(17 * factor, 0x88B5)
            self.net.frame(5, 0x88B6)  # of another type
            self.net.frame(8 * factor, 0x88B7, destination="02:00:00:00:00:09")
            for counts, count in (
                ([expected, expected6], {"udp": 9, "syn": 5}),
                ([expected], {"ping": 3, "named": 11, "far": 6}),
                ([expected6], {"udp6": 13, "ping6": 2}),
                ([frames], {"frame": 17, "address": 8}),
            ):
                for group in counts:
                    for remark, packets in count.items():
                        group[remark] += packets * factor
            agent.wait_for_counts(1, "filter/input", expected)
            agent.wait_for_counts(3, "filter/input", expected6)
            agent.wait_for_counts(2, "wire/ingress", frames)
            own = self.net.inner.counted("input")
            self.assertEqual(own, {remark: count for remark, count
                                   in {**expected, **expected6}.items()
                                   if remark not in ("named", "uncounted")})
            self.assertEqual(self.net.inner.counted("ingress"), frames)
            named = [element["counter"]["packets"] for element in self.net.inner.listing()
                     if "counter" in element]
            self.assertEqual(named, [expected["named"]])

    def test_an_acl_says_what_is_counted(self):
        self.net.inner.nft(COUNTING)
        self.net.inner.nft("table ip none { chain c { accept\n }\n}")
        agent = self.agent(*NEVER)
        agent.wait_for_log("publishing")
        wait_for(lambda: ("none/c", None) in agent.column(1, 1, 3), "the ACLs")
        flags = {name: (agent.column(1, 1, 3)[name, None], agent.column(1, 1, 4)[name, None])
                 for name in ("filter/input", "none/c")}
        self.assertEqual(flags, {"filter/input": (1, 1), "none/c": (2, 1)})
        self.assertEqual(agent.column(2, 1, 4)["wire/ingress", None], 2)
        support = agent.get(netns.table(4, 0))[0][2]
        self.assertEqual(bytes(support), b"\xf0")

    def test_only_what_has_counted_gets_a_new_time(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*OFTEN)
        agent.wait_for_log("publishing")
        wait_for(lambda: agent.counts(1, "filter/input"), "the rules")
        # A mark after whatever there was: no row is newer.
        def times():
            remarks = agent.remarks(1)
            return {remarks[key]: value for key, value in agent.column(1, 3, 3).items()}

        before = times()
        self.net.udp(1, 5001)
        wait_for(lambda: agent.counts(1, "filter/input")["udp"] == 1, "the packet")
        after = times()
        self.assertGreater(after.pop("udp"), before.pop("udp"))
        self.assertEqual(after, before)
        self.net.udp(1, 5001)
        wait_for(lambda: agent.counts(1, "filter/input")["udp"] == 2, "the packet")

    def test_sighup_reads_them_at_once(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*NEVER)
        wait_for(lambda: agent.counts(1, "filter/input"), "the rules")
        self.net.udp(3, 5001)
        agent.process.send_signal(signal.SIGHUP)
        wait_for(lambda: agent.counts(1, "filter/input")["udp"] == 3, "the packets")


class Dump(Live):
    def test_a_dump_is_served_by_another_agent_as_the_same_tree(self):
        self.net.inner.nft(COUNTING)
        self.net.inner.nft(chain('tcp dport { 80, 443, 8000-8100 } accept comment "list"',
                                 'udp sport != 53 ip saddr & 255.0.255.0 == 10.0.1.0 counter drop',
                                 'jump away', name="odd").replace("table ip odd {", "table ip odd {\n"
                                 "  chain away {\n  }\n"))
        self.net.udp(7, 5001)
        self.net.icmp(3, 8)
        self.net.frame(5, 0x88B5)
        dumped = subprocess.run([*self.net.inner.prefix(), ACLSNMPD, "--nftables", "--dump"],
                                capture_output=True, text=True, timeout=60)
        self.assertEqual((dumped.returncode, dumped.stderr), (0, ""))
        agent = self.agent(*NEVER)
        wait_for(lambda: agent.counts(1, "filter/input").get("udp") == 7
                 and agent.counts(2, "wire/ingress").get("frame") == 5
                 and ("odd/c", 30) in agent.column(1, 3, 2), "the ruleset")
        times = [table(group, 3) + (1, 3) for group in (1, 2, 3)]

        def tree(of):
            return [bind for bind in of.bulkwalk() if bind[0][: len(times[0])] not in times]

        expected = tree(agent)
        self.assertGreater(len(expected), 300)
        with Agent(dumped.stdout) as other:
            wait_for(lambda: len(tree(other)) == len(expected), "the whole tree")
            self.assertEqual(tree(other), expected)

    def test_without_the_capability_a_dump_fails_with_the_reason(self):
        dumped = subprocess.run(
            [*self.net.inner.prefix(), "setpriv", "--bounding-set=-net_admin",
             "--inh-caps=-net_admin", ACLSNMPD, "--nftables", "--dump"],
            capture_output=True, text=True, timeout=60)
        self.assertEqual((dumped.returncode, dumped.stdout), (1, ""))
        self.assertIn("it takes CAP_NET_ADMIN", dumped.stderr)


class Changes(Live):
    """With an interval of an hour: only the kernel's notifications can bring them."""

    def test_rules_that_come_and_go_leave_the_others_their_numbers_and_counts(self):
        nft = self.net.inner.nft
        nft("table ip t { chain c { type filter hook input priority 0; policy accept;\n"
            'udp dport 5001 counter comment "a"\nudp dport 5002 counter comment "b"\n }\n}')
        agent = self.agent(*NEVER)
        unseen = " [not shown: no verdict]"
        self.wait_for_numbers(agent, {"a" + unseen: 10, "b" + unseen: 20})
        self.net.udp(4, 5001)
        self.net.udp(6, 5002)
        handles = {e["rule"]["comment"]: e["rule"]["handle"]
                   for e in self.net.inner.listing() if "rule" in e}
        nft('insert rule ip t c position %d udp dport 5003 counter accept comment "c"'
            % handles["b"])
        self.wait_for_numbers(agent, {"a" + unseen: 10, "c": 15, "b" + unseen: 20})
        agent.wait_for_counts(1, "t/c", {"a" + unseen: 4, "c": 0, "b" + unseen: 6})
        nft('add rule ip t c udp dport 5004 counter accept comment "d"')
        nft("delete rule ip t c handle %d" % handles["a"])
        self.wait_for_numbers(agent, {"c": 15, "b" + unseen: 20, "d": 30})
        nft('replace rule ip t c handle %d udp dport 5005 counter accept comment "e"'
            % handles["b"])
        self.wait_for_numbers(agent, {"c": 15, "e": 22, "d": 30})
        agent.wait_for_counts(1, "t/c", {"c": 0, "e": 0, "d": 0})
        self.assertNotIn("error", agent.log().lower())

    def test_a_ruleset_may_come_vanish_and_come_again(self):
        agent = self.agent(*NEVER)
        agent.wait_for_log("publishing 0 ACLs, 0 rules, 0 remarks")
        for _ in range(3):
            self.net.inner.nft(COUNTING)
            wait_for(lambda: len(agent.column(1, 2, 19)) == 6, "the rules")
            self.net.inner.nft("flush ruleset")
            wait_for(lambda: agent.walk(table(1, 2)) == [], "nothing")

    def test_an_atomic_reload_keeps_the_numbers_and_counts_from_the_start(self):
        reload = "flush ruleset\n" + COUNTING
        self.net.inner.nft(reload)
        agent = self.agent(*OFTEN)
        wait_for(lambda: agent.counts(1, "filter/input"), "the rules")
        self.net.udp(5, 5001)
        wait_for(lambda: agent.counts(1, "filter/input")["udp"] == 5, "the packets")
        numbers = self.numbers(agent, "filter/input")
        self.net.inner.nft(reload.replace("icmp type", 'tcp dport 99 drop comment "new"\n icmp type'))
        wait_for(lambda: "new" in self.numbers(agent, "filter/input"), "the new rule")
        now = self.numbers(agent, "filter/input")
        self.assertEqual(now.pop("new"), 25)
        self.assertEqual(now, numbers)
        wait_for(lambda: agent.counts(1, "filter/input")["udp"] == 0, "the count from the start")
        self.net.udp(2, 5001)
        wait_for(lambda: agent.counts(1, "filter/input")["udp"] == 2, "the packets")

    def test_a_reset_of_the_counters_is_shown_and_told(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*OFTEN)
        wait_for(lambda: agent.counts(1, "filter/input"), "the rules")
        self.net.udp(5, 5003)
        wait_for(lambda: agent.counts(1, "filter/input")["named"] == 5, "the packets")
        self.net.inner.nft("reset counters")
        wait_for(lambda: agent.counts(1, "filter/input")["named"] == 0, "the reset")
        agent.wait_for_log("counters that began anew: 1")

    def test_numbers_run_out_and_begin_anew(self):
        self.net.inner.nft(chain('accept comment "first"', 'accept comment "last"'))
        agent = self.agent(*NEVER)
        self.wait_for_numbers(agent, {"first": 10, "last": 20})
        for count in range(1, 5):
            handle = [e["rule"]["handle"] for e in self.net.inner.listing()
                      if e.get("rule", {}).get("comment") == "first"][0]
            self.net.inner.nft('add rule ip t c position %d accept comment "n%d"' % (handle, count))
            wait_for(lambda: len(self.numbers(agent)) == count + 2, "the rule")
        agent.wait_for_log("ip t c: no sequence number was left")
        self.assertEqual(sorted(self.numbers(agent).values()), list(range(10, 70, 10)))


class Storms(Live):
    def storm(self, seconds, pause, *rulesets):
        files = []
        for ruleset in rulesets:
            file = tempfile.NamedTemporaryFile("w", suffix=".nft")
            self.addCleanup(file.close)
            file.write(ruleset)
            file.flush()
            files.append(file.name)
        process = subprocess.Popen(
            self.net.inner.prefix() + [sys.executable, "storm.py", str(seconds), str(pause), *files],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def test_what_is_served_meanwhile_is_always_one_ruleset(self):
        rulesets = [chain(*['accept comment "%s-%d"' % (letter, i) for i in range(40)])
                    for letter in "ab"]
        agent = self.agent(*OFTEN)
        storm = self.storm(6, 0.002, *rulesets)
        remark = table(1, 2) + (1, 21)
        wait_for(lambda: len(agent.walk(remark)) == 40, "the rules")
        seen = set()
        walks = 0
        while storm.poll() is None:
            # One answer is of one moment.
            bulk = agent.run("snmpbulkget", "-Cr40", dotted(remark))
            texts = {bytes(value).split(b"-")[0] for oid, _, value
                     in netns.parse_values(bulk.stdout) if oid[: len(remark)] == remark}
            self.assertEqual(len(texts), 1, bulk.stdout)
            seen |= texts
            oids = [oid for oid, _, _ in agent.bulkwalk(repetitions=7)]
            self.assertTrue(all(a < b for a, b in zip(oids, oids[1:])), oids)
            rows = [oid[len(remark):] for oid in oids if oid[: len(remark)] == remark]
            self.assertEqual(len(rows), 40)
            walks += 1
        transactions = int(storm.stdout.read())
        self.assertEqual(seen, {b"a", b"b"})
        self.assertGreater(transactions, 300)
        self.assertGreater(walks, 3)
        last = "ab"[(transactions - 1) % 2]
        wait_for(lambda: agent.remarks(1)["t/c", 10] == last + "-0", "the last ruleset")
        self.assertLess(agent.log().count("nftables:"), 10, agent.log())

    def test_a_ruleset_that_changes_faster_than_it_can_be_read_is_told(self):
        many = "\n".join("ip saddr 10.%d.%d.1 counter" % (i // 250, i % 250) for i in range(6000))
        self.net.inner.nft('table ip big {\n chain c {\n accept comment "kept"\n%s\n }\n}' % many)
        agent = self.agent(*OFTEN)
        first = table(1, 2) + (1, 21) + name_index("big/c") + (10,)
        wait_for(lambda: agent.get(first)[0][2] is not None, "the rules")
        storm = self.storm(600, 0.0005, chain("counter"))
        agent.wait_for_log("the ruleset cannot be read: it changes faster than it can be read")
        # What was read before is served, promptly.
        self.assertEqual(bytes(agent.get(first)[0][2]), b"kept")
        # The agent ends in the middle of a reading: the test's end sees to that.
        start = time.monotonic()
        agent.process.send_signal(signal.SIGTERM)
        self.assertEqual(agent.process.wait(60), 0)
        self.assertLess(time.monotonic() - start, 20)
        storm.kill()


class Oddities(Live):
    def test_a_ruleset_that_libnftables_gives_up_on_costs_nothing_else(self):
        # Nothing else but what the library holds at that moment.
        suppressions = tempfile.NamedTemporaryFile("w")
        self.addCleanup(suppressions.close)
        suppressions.write("leak:libnftables\nleak:libjansson\nleak:libnftnl\n")
        suppressions.flush()
        self.enterContext(unittest.mock.patch.dict(
            os.environ, LSAN_OPTIONS="suppressions=" + suppressions.name))
        self.net.inner.nft(chain('accept comment "kept"'))
        agent = self.agent(*OFTEN)
        self.wait_for_numbers(agent, {"kept": 10})
        file = tempfile.NamedTemporaryFile("wb", suffix=".nft")
        self.addCleanup(file.close)
        file.write(b'table ip bad {\n chain c {\n  iifname "x\xff" accept\n }\n}\n')
        file.flush()
        netns.run(*self.net.inner.prefix(), "nft", "-f", file.name)
        agent.wait_for_log("the ruleset cannot be read: libnftables gives up on it")
        self.assertEqual(self.numbers(agent), {"kept": 10})
        self.net.inner.nft(chain('accept comment "later"') + "delete table ip bad")
        self.wait_for_numbers(agent, {"later": 10})

    def test_names_that_cannot_be_published_are_told_once(self):
        agent = self.agent(*OFTEN)
        self.net.inner.nft("table ip %s {\n chain c {\n }\n}" % ("t" * 99))
        agent.wait_for_log("not published: its name has more than 100 octets")
        self.net.inner.nft("table ip filter {\n chain c {\n }\n}\n"
                           "table inet filter {\n chain c {\n }\n}")
        wait_for(lambda: [key[0] for key in agent.column(1, 1, 2)]
                 == ["filter/c", "inet filter/c"], "the names")
        self.assertEqual(agent.log().count("more than 100 octets"), 1)
        self.assertEqual(agent.log().count("published as 'inet filter/c'"), 1)


class Privileges(Live):
    DOCUMENT = document(acl_set("doc", entries=[entry(10)]))

    def test_without_the_capability_it_is_said_once_and_the_rest_is_served(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*OFTEN, acls=self.DOCUMENT, wait=False,
                           command=["setpriv", "--bounding-set=-net_admin",
                                    "--inh-caps=-net_admin"])
        agent.wait_for_log("the ruleset cannot be read: Operation not permitted; it takes "
                           "CAP_NET_ADMIN")
        wait_for(lambda: agent.column(1, 2, 19) == {("doc", 10): 0}, "the document")
        end = time.monotonic() + 2  # ten intervals
        while time.monotonic() < end:
            self.assertEqual(agent.column(1, 2, 19), {("doc", 10): 0})
        self.assertEqual(agent.log().count("nftables"), 1, agent.log())

    def test_the_capability_alone_is_enough(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*OFTEN, command=["setpriv", "--bounding-set=-all,+net_admin",
                                            "--inh-caps=-all"])
        self.net.udp(2, 5001)
        wait_for(lambda: agent.counts(1, "filter/input").get("udp") == 2, "the packets")

    def test_it_is_kept_when_the_agent_becomes_another_user(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*OFTEN, "--user", "nobody")
        self.net.udp(2, 5001)
        wait_for(lambda: agent.counts(1, "filter/input").get("udp") == 2, "the packets")
        with open("/proc/%d/status" % agent.process.pid) as status:
            fields = dict(line.rstrip("\n").split(":\t", 1) for line in status)
        self.assertEqual(fields["Uid"].split(), ["65534"] * 4)
        self.assertEqual(int(fields["CapEff"], 16), 1 << 12)  # CAP_NET_ADMIN

    def test_a_document_and_the_ruleset_stand_side_by_side(self):
        self.net.inner.nft(COUNTING)
        agent = self.agent(*NEVER, acls=self.DOCUMENT)
        wait_for(lambda: {key[0] for key in agent.column(1, 2, 19)} == {"doc", "filter/input"},
                 "both")


if __name__ == "__main__":
    unittest.main()
