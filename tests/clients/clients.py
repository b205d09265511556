"""What the tests with other SNMP clients share: the agent, its tree, and the word for no client."""

import sys
import unittest

from agent import EXAMPLE, Agent, wait_for
from expected import TIME, golden

SKIPPED = 77
UPTIME = (1, 3, 6, 1, 2, 1, 1, 3, 0)


def cannot_be_had(package):
    """Ends the whole run: what asks the agent is not there, and not for want of trying."""
    print("skipped: package %s cannot be had" % package, flush=True)
    sys.exit(SKIPPED)


class ClientTest(unittest.TestCase):
    """One agent with the example document, ready for all tests of a class."""

    maxDiff = 4000

    @classmethod
    def make_agent(cls):
        cls.tree = golden(EXAMPLE)
        return Agent(arguments=["--acl", EXAMPLE])

    @classmethod
    def setUpClass(cls):
        cls.agent = cls.make_agent()
        try:
            wait_for(lambda: len(cls.agent.bulkwalk()) == len(cls.tree), "the whole tree")
        except BaseException:
            cls.agent.close()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.agent.close()

    def assertTree(self, found):
        """Every OID, type and value in order; of a time of change only what is known beforehand."""
        uptime = self.agent.get(UPTIME)[0][2]
        for (oid, kind, value), (want_oid, want_kind, want) in zip(found, self.tree):
            self.assertEqual((oid, kind), (want_oid, want_kind))
            if want is TIME:
                # 0 where the document was read in the agent's first hundredth of a second.
                self.assertLessEqual(value, uptime, oid)
            else:
                self.assertEqual(value, want, oid)
        self.assertEqual(len(found), len(self.tree))
