"""The whole tree of the example document: every OID, type and value, by every way of asking."""

import unittest

from agent import Agent, EXAMPLE, acl_set, document, entry, name_index, table, wait_for
from expected import TIME, golden

V1 = ("-v1", "-c", "public")
V3 = (
    "-v3", "-u", "reader", "-l", "authPriv", "-a", "SHA", "-A", "reader-auth-pass",
    "-x", "AES", "-X", "reader-priv-pass",
)
UPTIME = (1, 3, 6, 1, 2, 1, 1, 3, 0)


def batches(items, size):
    return [items[i : i + size] for i in range(0, len(items), size)]


class Golden(unittest.TestCase):
    maxDiff = 4000

    @classmethod
    def setUpClass(cls):
        cls.tree = golden(EXAMPLE)
        cls.agent = Agent(arguments=["--acl", EXAMPLE])
        try:
            wait_for(lambda: len(cls.agent.bulkwalk()) == len(cls.tree), "the whole tree")
        except AssertionError:
            cls.agent.close()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.agent.close()

    def assertTree(self, found, expected=None):
        expected = self.tree if expected is None else expected
        uptime = self.agent.get(UPTIME)[0][2]
        for (oid, kind, value), (want_oid, want_kind, want) in zip(found, expected):
            self.assertEqual((oid, kind), (want_oid, want_kind))
            if want is TIME:
                self.assertLessEqual(value, uptime)
                self.assertGreaterEqual(value, 0)
            else:
                self.assertEqual(value, want, oid)
        self.assertEqual(len(found), len(expected))

    def test_the_example_is_worth_the_name(self):
        rows = [oid for oid, _, _ in self.tree]
        self.assertEqual(rows, sorted(rows))
        per_table = lambda g, n: {o[13:] for o in rows if o[10:13] == (g, n, 1) and o[13] == 2}
        self.assertGreaterEqual(sum(len(per_table(g, 1)) for g in (1, 2, 3)), 6)
        self.assertGreaterEqual(sum(len(per_table(g, 2)) for g in (1, 2, 3)), 60)
        self.assertTrue(any(v for _, k, v in self.tree if k == "Counter64" and v > 2**53))

    def test_getnext_walk(self):
        self.assertTree(self.agent.walk())

    def test_getbulk_walks(self):
        for repetitions in (1, 10, 50):
            with self.subTest(repetitions=repetitions):
                self.assertTree(self.agent.bulkwalk(repetitions=repetitions))

    def test_get_of_each_in_any_order(self):
        wanted = self.tree[::3][::-1] + self.tree[1::3] + self.tree[2::3]
        for batch in batches(wanted, 40):
            self.assertTree(self.agent.get(*[oid for oid, _, _ in batch]), batch)

    def test_snmpv3_with_authentication_and_privacy(self):
        self.assertTree(self.agent.bulkwalk(security=V3))
        self.assertTree(self.agent.walk(security=V3))

    def test_snmpv1_leaves_counter64_out(self):
        without = [bind for bind in self.tree if bind[1] != "Counter64"]
        self.assertTree(self.agent.walk(security=V1), without)

    def test_times_do_not_move_while_nothing_changes(self):
        column = table(1, 3) + (1, 3)
        self.assertEqual(self.agent.walk(column), self.agent.walk(column))

    def test_a_time_mark_shows_what_changed_since_under_that_mark(self):
        base = table(1, 3) + (1, 2)
        whole = {o[len(base) + 1 :]: v for o, _, v in self.agent.walk(base) if o[len(base)] == 0}
        newest = max(v for _, _, v in self.agent.walk(table(1, 3) + (1, 3)))
        for mark, wanted in [(1, whole), (newest + 2, None), (newest + 3, {})]:
            found = self.agent.walk(base + (mark,))
            self.assertTrue(all(o[len(base)] == mark for o, _, _ in found))
            rows = {o[len(base) + 1 :]: v for o, _, v in found}
            if wanted is None:
                # Within the slack of two ticks the newest rows still show.
                self.assertTrue(rows)
            else:
                self.assertEqual(rows, wanted)

    def test_get_under_a_time_mark_that_rejects_the_row_is_no_such_instance(self):
        base = table(1, 3) + (1, 2)
        index = next(o for o, _, _ in self.tree if o[: len(base)] == base)[len(base) + 1 :]
        newest = max(v for _, _, v in self.agent.walk(table(1, 3) + (1, 3)))
        self.assertEqual(self.agent.get(base + (newest,) + index)[0][1], "Counter64")
        answer = self.agent.get(base + (newest + 100000,) + index)[0]
        self.assertEqual(answer[1], "No Such Instance currently exists at this OID")

    def test_the_walk_of_one_mark_does_not_go_on_with_the_next(self):
        base = table(1, 3) + (1, 2)
        last = [o for o, _, _ in self.agent.walk(base + (1,))][-1]
        (oid, _, _) = self.agent.getnext(last)[0]
        self.assertEqual(oid[: len(base)], table(1, 3) + (1, 3))
        self.assertEqual(oid[len(base)], 1)


class Times(unittest.TestCase):
    def counted(self, *packets):
        return document(
            acl_set("a", entries=[entry(10 * (i + 1), pkts=p) for i, p in enumerate(packets)])
        )

    def test_the_time_of_a_change_agrees_with_sysuptime_and_the_time_filter(self):
        counts, times = table(1, 3) + (1, 2), table(1, 3) + (1, 3)
        with Agent(self.counted(1, 1)) as agent:
            wait_for(lambda: len(agent.walk(counts)) == 2, "the rules")
            first = [value for _, _, value in agent.walk(times)]
            # Far enough from the start that no slack hides a wrong clock.
            wait_for(lambda: agent.get(UPTIME)[0][2] > max(first) + 100, "a second to pass")
            before = agent.get(UPTIME)[0][2]
            agent.write(self.counted(1, 2))
            wait_for(lambda: [v for _, _, v in agent.walk(counts)] == [1, 2], "the new count")
            after = agent.get(UPTIME)[0][2]
            unchanged, changed = [value for _, _, value in agent.walk(times)]
            self.assertEqual(unchanged, first[0])
            self.assertGreaterEqual(changed, before - 2)
            self.assertLessEqual(changed, after + 2)
            # Asked for what changed since then, the agent gives the changed rule alone.
            rows = [o[len(counts) :] for o, _, _ in agent.walk(counts + (before,))]
            self.assertEqual(rows, [(before,) + name_index("a") + (20,)])


if __name__ == "__main__":
    unittest.main()
