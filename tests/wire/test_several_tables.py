"""Requests that name several tables, columns and time marks at once, and what no table answers."""

import unittest

from agent import Agent, EXAMPLE, OBJECTS, dotted, parse_values, wait_for
from expected import TIME, golden

PRIVATE = ("-v2c", "-c", "private")
TABLES = [(group, number) for group in (1, 2, 3) for number in (1, 2, 3)]
SCALAR = OBJECTS + (4, 0)
DEPTH = len(OBJECTS)
# No row of the tests changed this late.
FAR = 2**31


class SeveralTables(unittest.TestCase):
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

    def instances(self, which, column=None):
        """The OIDs of one table, or of one of its columns, under the mark 0 where it has one."""
        base = OBJECTS + which + (1,) + (() if column is None else (column,))
        return [oid for oid, _, _ in self.tree if oid[: len(base)] == base]

    def columns(self, which):
        return sorted({oid[DEPTH + 3] for oid in self.instances(which)})

    def under(self, oid, mark):
        """The instance of a statistics table under another mark."""
        return oid[: DEPTH + 4] + (mark,) + oid[DEPTH + 5 :]

    def marked(self, oid):
        return len(oid) > DEPTH + 4 and oid[DEPTH + 1] == 3 and oid[DEPTH + 2] == 1

    def following(self, oid):
        """What comes after an OID: a mark that shows no row passes over the rest of its table."""
        mark = oid[DEPTH + 4] if self.marked(oid) else 0
        if mark == 0:
            return next((bind for bind in self.tree if bind[0] > oid), None)
        plain = self.under(oid, 0)
        table = oid[: DEPTH + 2]
        for found, kind, value in self.tree:
            if found > plain and (mark != FAR or found[: DEPTH + 2] != table):
                same = found[: DEPTH + 2] == table
                return (self.under(found, mark) if same else found, kind, value)
        return None

    def assertBinds(self, found, expected):
        self.assertEqual([bind[:2] for bind in found], [bind[:2] for bind in expected])
        for (oid, _, value), (_, _, want) in zip(found, expected):
            if want is not TIME:
                self.assertEqual(value, want, oid)

    def starts(self):
        """Beginnings, middles and ends of all tables and several marks, in no order."""
        found = [OBJECTS + (4,)]
        for which in TABLES:
            rows = self.instances(which)
            column = self.instances(which, self.columns(which)[0])
            found += [OBJECTS + which, rows[len(rows) // 2], column[-1]]
            if which[1] == 3:
                found += [self.under(oid, mark) for oid in column[:2] + column[-1:]
                          for mark in (1, 2, FAR)]
        return found[::3] + found[1::3][::-1] + found[2::3]

    def test_getnext_of_several_tables_and_marks(self):
        starts = self.starts()
        last = self.instances(TABLES[-1])[-1]
        self.assertGreater(len(starts), 50)
        self.assertBinds(
            self.agent.getnext(*starts), [self.following(oid) for oid in starts]
        )
        self.assertEqual(self.following(last)[0], SCALAR)

    def test_getbulk_of_several_tables_and_marks(self):
        def rounds(oids, repetitions):
            binds = []
            for _ in range(repetitions):
                row = [self.following(oid) for oid in oids]
                binds += row
                oids = [bind[0] for bind in row]
            return binds

        before_the_end = lambda oid: oid < self.instances(TABLES[-1])[-30]
        starts = [oid for oid in self.starts() if before_the_end(oid)][::4]
        for single, repetitions in ((0, 3), (2, 4), (len(starts) - 1, 5)):
            with self.subTest(single=single, repetitions=repetitions):
                output = self.agent.run(
                    "snmpbulkget", "-Cn%d" % single, "-Cr%d" % repetitions, *map(dotted, starts)
                ).stdout
                self.assertBinds(
                    parse_values(output),
                    [self.following(oid) for oid in starts[:single]]
                    + rounds(starts[single:], repetitions),
                )

    def test_get_of_several_tables_and_marks(self):
        wanted = []
        for which in TABLES:
            for oid in self.instances(which)[::7]:
                bind = next(bind for bind in self.tree if bind[0] == oid)
                wanted.append(bind)
                if which[1] == 3:
                    wanted.append((self.under(oid, 1), *bind[1:]))
        wanted = wanted[::2] + wanted[1::2][::-1]
        for i in range(0, len(wanted), 50):
            batch = wanted[i : i + 50]
            self.assertBinds(self.agent.get(*[oid for oid, _, _ in batch]), batch)

    def test_a_column_that_no_table_has_is_no_such_object(self):
        for which in TABLES:
            columns = self.columns(which)
            self.assertEqual(columns, list(range(2, columns[-1] + 1)))
            base = OBJECTS + which + (1,)
            index = self.instances(which, 2)[0][len(base) + 1 :]
            for column in (1, columns[-1] + 1):
                for rest in (index, index[:-1] + (index[-1] + 1,)):
                    with self.subTest(table=which, column=column):
                        self.assertEqual(
                            self.agent.get(base + (column,) + rest)[0][1],
                            "No Such Object available on this agent at this OID",
                        )
            for column in (2, columns[-1]):
                absent = index[:-1] + (index[-1] + 1,)
                self.assertEqual(
                    self.agent.get(base + (column,) + absent)[0][1],
                    "No Such Instance currently exists at this OID",
                )

    def test_set_of_each_object_is_refused_and_changes_nothing(self):
        targets = [self.instances(which)[0] for which in TABLES] + [SCALAR]
        self.assertEqual(len(targets), 10)
        before = self.agent.get(*targets)
        for target in targets:
            with self.subTest(target=target):
                result = self.agent.run(
                    "snmpset", dotted(target), "i", "1", security=PRIVATE, check=False
                )
                self.assertNotEqual(result.returncode, 0)
                self.assertIn("notWritable", result.stdout + result.stderr)
        self.assertEqual(self.agent.get(*targets), before)


if __name__ == "__main__":
    unittest.main()
