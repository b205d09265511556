"""Packets that no honest manager sends: the agent goes on, and serves what it served."""

import os
import random
import unittest

from agent import SOURCE_DIR, Agent, EXAMPLE, wait_for
from expected import TIME, golden
from hostile import DEADLINE, Client, Question

SEEDS = os.path.join(SOURCE_DIR, "fuzz", "corpus", "packets")
PACKETS = 6000
CONFIGURATION = """
rwcommunity public 127.0.0.1
createUser open
rwuser open noauth
exactEngineID 0x80007ed90466757a7a
sysContact nobody
sysName hostile
sysLocation nowhere
"""


def seeds():
    found = []
    for name in sorted(os.listdir(SEEDS)):
        with open(os.path.join(SEEDS, name), "rb") as packet:
            found.append(packet.read())
    return found


def changed(packet, others, rng):
    """A packet with a few octets changed, taken out, put in, or the middle of another one."""
    data = bytearray(packet)
    for _ in range(rng.randint(1, 4)):
        place = rng.randrange(len(data) + 1)
        kind = rng.randrange(5)
        if kind == 0 and data:
            data[place % len(data)] = rng.choice((0, 1, 2, 4, 5, 6, 0x30, 0x7F, 0x80, 0x84, 0xFF))
        elif kind == 1 and data:
            data[place % len(data)] ^= 1 << rng.randrange(8)
        elif kind == 2:
            del data[place : place + rng.randint(1, 8)]
        elif kind == 3:
            data[place:place] = rng.randbytes(rng.randint(1, 8))
        else:
            other = rng.choice(others)
            start = rng.randrange(len(other) + 1)
            data[place:] = other[start:]
    return bytes(data[:8000])


class Hostile(unittest.TestCase):
    def assertServed(self, agent, tree):
        found = agent.bulkwalk()
        self.assertEqual([(o, k) for o, k, _ in found], [(o, k) for o, k, _ in tree])
        for (oid, _, value), (_, _, want) in zip(found, tree):
            if want is not TIME:
                self.assertEqual(value, want, oid)

    def test_thousands_of_bad_packets_change_nothing_and_block_nobody(self):
        tree = golden(EXAMPLE)
        packets = seeds()
        self.assertGreater(len(packets), 40)
        rng = random.Random(20240229)
        slowest = 0
        with Agent(arguments=["--acl", EXAMPLE], configuration=CONFIGURATION) as agent:
            wait_for(lambda: len(agent.bulkwalk()) == len(tree), "the whole tree")
            before = agent.bulkwalk()
            client = Client(agent.port)
            with client.socket:
                for number in range(PACKETS):
                    client.throw(changed(rng.choice(packets), packets, rng))
                    # Often enough that no packet is lost for want of room.
                    if number % 50 == 0:
                        took = client.answers(Question(0x7A000000 + number))
                        self.assertIsNotNone(took, "no answer after packet %d" % number)
                        slowest = max(slowest, took)
                self.assertIsNotNone(client.answers(Question(0x7AFFFFFF)))
            self.assertIsNone(agent.process.poll())
            self.assertEqual(agent.bulkwalk(), before)
            self.assertServed(agent, tree)
        self.assertLess(slowest, DEADLINE)

    def test_the_largest_datagrams_are_taken_too(self):
        tree = golden(EXAMPLE)
        with Agent(arguments=["--acl", EXAMPLE], configuration=CONFIGURATION) as agent:
            wait_for(lambda: len(agent.bulkwalk()) == len(tree), "the whole tree")
            client = Client(agent.port)
            with client.socket:
                for content in (b"\x00", b"\x30", b"\x30\x80", b"\x30\x84\x00\x00\xff\xf0\x02\x01\x01"):
                    client.throw((content * 65507)[:65507])
                    self.assertIsNotNone(client.answers(Question(0x7B000000)), content)
            self.assertServed(agent, tree)


if __name__ == "__main__":
    unittest.main()
