"""The three ACL tables over UDP: order, names of every kind, GET and GETNEXT, changes, refusals."""

import time
import unittest

from agent import Agent, OBJECTS, acl_set, document, dotted, entry, name_index, table, wait_for

TRUE, FALSE = 1, 2
TYPES = {"ACL_IPV4": 1, "ACL_L2": 2, "ACL_IPV6": 3}
# In the order of their OIDs: shorter first, then by octets.
NAMES = [
    b"",
    b"B",
    b"a",
    b"b",
    b"~",
    b"\xc3",
    b"\xff",
    b"aa",
    b"zz",
    b"a b",
    b"abc",
    b"x" * 100,
]


def all_names():
    # Given in another order than that of their OIDs.
    return document(
        *[acl_set(name, kind) for kind in TYPES for name in sorted(NAMES, reverse=True)]
    )


def rows(group):
    """Every varbind of one ACL table of `all_names`, in OID order."""
    return [
        (table(group, 1) + (1, column) + name_index(name), "INTEGER", FALSE)
        for column in (2, 3, 4)
        for name in NAMES
    ]


class AclTables(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = Agent(all_names())
        expected = sum(len(rows(group)) for group in TYPES.values())
        wait_for(
            lambda: sum(len(cls.agent.walk(table(g, 1))) for g in TYPES.values()) == expected,
            "all ACLs",
        )

    @classmethod
    def tearDownClass(cls):
        cls.agent.close()

    def test_walk_gives_every_row_in_oid_order(self):
        for group in TYPES.values():
            self.assertEqual(self.agent.walk(table(group, 1)), rows(group))

    def test_bulk_walk_gives_the_same_for_any_number_of_repetitions(self):
        for repetitions in (1, 10, 50):
            self.assertEqual(self.agent.bulkwalk(table(1, 1), repetitions), rows(1))

    def test_get_of_several_rows_in_any_order(self):
        expected = rows(1)
        wanted = expected[7::-3] + expected[20:] + expected[:4]
        self.assertEqual(self.agent.get(*[oid for oid, _, _ in wanted]), wanted)

    def test_getnext_of_several_rows_in_any_order(self):
        expected = rows(3)
        starts = list(range(len(expected) - 1))[::-5] + [0, 3]
        answers = self.agent.getnext(*[expected[i][0] for i in starts])
        self.assertEqual(answers, [expected[i + 1] for i in starts])

    def test_getnext_of_an_absent_name_gives_the_first_row_above(self):
        entry_oid = table(1, 1) + (1, 2)
        for absent, above in [(b"C", b"a"), (b"ab", b"zz"), (b"y" * 99, b"x" * 100)]:
            answer = self.agent.getnext(entry_oid + name_index(absent))
            self.assertEqual(answer, [(entry_oid + name_index(above), "INTEGER", FALSE)])

    def test_getnext_of_a_partial_index_gives_the_first_row_above(self):
        column = table(1, 1) + (1, 2)
        cases = {
            (): b"",
            (1,): b"B",
            (2, 97): b"aa",
            (1, 300): b"aa",
            (3, 97): b"a b",
        }
        for partial, above in cases.items():
            answer = self.agent.getnext(column + partial)
            self.assertEqual(answer[0][0], column + name_index(above), partial)

    def test_getnext_after_the_last_row_leaves_the_table(self):
        last = rows(1)[-1][0]
        (oid, _, _) = self.agent.getnext(last)[0]
        self.assertNotEqual(oid[: len(table(1, 1))], table(1, 1))
        self.assertGreater(oid, last)

    def test_get_of_an_absent_row_or_column_says_so(self):
        column = table(1, 1) + (1, 2)
        self.assertEqual(
            self.agent.get(column + name_index("nobody"))[0][1],
            "No Such Instance currently exists at this OID",
        )
        for number in (1, 5):
            oid = table(1, 1) + (1, number) + name_index("a")
            self.assertTrue(self.agent.get(oid)[0][1].startswith("No Such"), number)

    def test_the_scalar_is_its_one_instance(self):
        scalar = OBJECTS + (4,)
        for start in (scalar, table(3, 3) + (1, 3, 2**32 - 1)):
            self.assertEqual(self.agent.getnext(start)[0][:2], (scalar + (0,), "Hex-STRING"))
        for below in ((0,), (0, 0), (1,)):
            (oid, _, value) = self.agent.getnext(scalar + below)[0]
            self.assertTrue(value is None or oid[: len(scalar)] > scalar, below)
        for other in (scalar, scalar + (1,), scalar + (0, 0)):
            self.assertTrue(self.agent.get(other)[0][1].startswith("No Such"), other)

    def test_set_is_refused(self):
        oid = dotted(rows(1)[0][0])
        for target in (oid, dotted(OBJECTS + (4, 0))):
            result = self.agent.run(
                "snmpset", target, "i", "1", security=("-v2c", "-c", "private"), check=False
            )
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("notWritable", result.stdout + result.stderr)


class Changes(unittest.TestCase):
    def names(self, agent):
        column = table(1, 1) + (1, 2)
        return [bytes(o[len(column) + 1 :]) for o, _, _ in agent.walk(column)]

    def wait_for_names(self, agent, *names):
        wait_for(lambda: self.names(agent) == list(names), names)

    def test_a_changed_document_shows_up_without_a_request_in_between(self):
        with Agent(document(acl_set("a"), acl_set("b"))) as agent:
            self.wait_for_names(agent, b"a", b"b")
            for count, how in enumerate(("rename", "truncate"), 1):
                agent.write(document(acl_set("a"), acl_set("c"), acl_set("dd")), how)
                written = time.monotonic()
                # The log is the witness: no request is made while waiting.
                agent.wait_for_log("acls.json: loaded 3 ACLs", count)
                self.assertLess(time.monotonic() - written, 1)
                self.wait_for_names(agent, b"a", b"c", b"dd")
                agent.write(document(acl_set("a"), acl_set("b")), how)
                self.wait_for_names(agent, b"a", b"b")

    def test_deleting_an_acl_between_two_getnexts_gives_its_successor(self):
        column = table(1, 1) + (1, 2)
        with Agent(document(acl_set("a"), acl_set("b"), acl_set("c"))) as agent:
            self.wait_for_names(agent, b"a", b"b", b"c")
            self.assertEqual(agent.getnext(column + name_index("a"))[0][0], column + name_index("b"))
            agent.write(document(acl_set("a"), acl_set("c")))
            self.wait_for_names(agent, b"a", b"c")
            self.assertEqual(agent.getnext(column + name_index("b"))[0][0], column + name_index("c"))

    def test_a_bad_document_leaves_everything_served(self):
        with Agent(document(acl_set("a"), acl_set("b"))) as agent:
            self.wait_for_names(agent, b"a", b"b")
            bad = [
                '{"openconfig-acl:acl": {"acl-sets": {"acl-set": [',
                document(acl_set("a"), acl_set("a")),
                document(acl_set("x" * 101)),
                document(acl_set("a", entries=[entry(-1)])),
                "[" * 100000,
            ]
            for text in bad:
                before = agent.log().count("acls.json")
                agent.write(text)
                wait_for(lambda: agent.log().count("acls.json") > before, "an error line")
                self.assertEqual(self.names(agent), [b"a", b"b"])
            agent.write(document(acl_set("c")))
            self.wait_for_names(agent, b"c")

    def test_empty_tables_answer_with_what_comes_after_them(self):
        with Agent(document()) as agent:
            self.assertEqual(agent.walk(table(1, 1)), [])
            self.assertEqual(agent.getnext(table(1, 1))[0][0], OBJECTS + (4, 0))


if __name__ == "__main__":
    unittest.main()
