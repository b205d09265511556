"""What is logged when somebody wants to fill the disk, or nobody reads the log."""

import contextlib
import os
import re
import signal
import socket
import tempfile
import time
import unittest

from agent import Agent, OBJECTS, acl_set, document, entry, table, wait_for
from hostile import Client, Question
from packets import GET, GETBULK, GETNEXT, answer, request, request3

SCALAR = OBJECTS + (4, 0)
SYS_DESCR = (1, 3, 6, 1, 2, 1, 1, 1, 0)
NAMES = table(1, 1) + (1, 2)
RULES = table(1, 2) + (1, 2)
ENGINE = bytes.fromhex("80007ed90466757a7a")
CONFIGURATION = """
rocommunity public 127.0.0.1
createUser open
rouser open noauth
exactEngineID 0x%s
""" % ENGINE.hex()
# A datagram over IPv4 carries so many octets.
MOST = 65507


def unknown_type(number):
    """Ten octets from an unknown community: a PDU of a type that there is not."""
    return bytes.fromhex("300802010104017%xa900" % (number % 16))


class Bounds(unittest.TestCase):
    def test_what_a_stranger_sends_is_told_ten_times_and_then_as_a_number(self):
        with Agent(document(acl_set("a"))) as agent:
            client = Client(agent.port)
            with client.socket:
                for number in range(5000):
                    client.throw(unknown_type(number))
                    if number % 100 == 0:
                        self.assertIsNotNone(client.answers(Question(0x7C000000 + number)))
                self.assertIsNotNone(client.answers(Question(0x7CFFFFFF)))
            line = "Bad PDU type received: 0xa9\n"
            self.assertEqual(agent.log().count(line), 10)
            agent.process.send_signal(signal.SIGTERM)
            agent.process.wait(60)
            self.assertEqual(
                re.findall(r"and (\d+) more such lines, the last: (.*\n)", agent.log()),
                [("4990", line)])

    def test_a_log_that_the_configuration_opens_is_bounded_too(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "log")
            with Agent(configuration=CONFIGURATION + "[snmp] logOption f %s\n" % path) as agent:
                client = Client(agent.port)
                with client.socket:
                    for number in range(100):
                        client.throw(unknown_type(number))
                    self.assertIsNotNone(client.answers(Question(0x7C000000)))
            with open(path) as log:
                said = log.read()
            self.assertEqual(said.count("Bad PDU type received: 0xa9\n"), 11)
            self.assertIn("and 90 more such lines, the last: Bad PDU", said)

    def test_answers_that_do_not_fit_are_too_big_or_shorter_and_cost_no_line(self):
        every_rule = [RULES] * 60
        # (request, error status, variables; None: some, but not all)
        cases = [
            ("v2c, fits", request(GET, [SYS_DESCR] * 128), 0, 128),
            ("v2c, too many", request(GET, [SYS_DESCR] * 2000), 1, 0),
            ("v2c, full request", request(GETNEXT, [(1, 3) + (2 ** 31,) * 126] * 101), 0, 101),
            ("v3, too many", request3(GET, [SYS_DESCR] * 2000, b"open", ENGINE), 1, 0),
            ("v3, would take more",
             request3(GET, [SYS_DESCR] * 128, b"open", ENGINE, most=0x7FFFFFFF), 0, 128),
            ("v3, takes little", request3(GET, [SYS_DESCR] * 60, b"open", ENGINE, most=484), 1, 0),
            ("v3, long, takes little",
             request3(GET, [SYS_DESCR[:-1]] * 4500, b"open", ENGINE, most=484), 1, 0),
            ("v2c bulk, above a datagram",
             request(GETBULK, [SYS_DESCR[:-1]] * 128, errors=(0, 20)), 0, None),
            ("v3 bulk, takes little",
             request3(GETBULK, [NAMES], b"open", ENGINE, errors=(0, 100), most=484), 0, None),
            ("v3 bulk of many columns, takes little",
             request3(GETBULK, every_rule, b"open", ENGINE, errors=(0, 100), most=484), 0, None),
            ("v3 bulk, takes a frame",
             request3(GETBULK, every_rule, b"open", ENGINE, errors=(0, 100), most=1472), 0, None),
        ]
        acls = document(*(acl_set("%s%02d" % ("x" * 90, n), entries=[entry(10)])
                          for n in range(60)))
        many = CONFIGURATION + "maxGetbulkResponses 4000\n"
        with Agent(acls, configuration=many) as agent:
            agent.wait_for_walk(lambda walk: len(walk) == 60, NAMES)
            before = agent.log()
            for name, packet, status, count in cases:
                with self.subTest(name), \
                        socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
                    client.connect(("127.0.0.1", agent.port))
                    client.settimeout(20)
                    client.send(packet)
                    message = client.recv(65535)
                    found_status, _, found_count = answer(message)
                    self.assertEqual(found_status, status)
                    if count is None:
                        self.assertGreater(found_count, 0)
                        self.assertLess(found_count, 2560)
                    else:
                        self.assertEqual(found_count, count)
                    most = re.search(rb"\x02\x02(..)\x04\x01\x04", packet[:40], re.S)
                    self.assertLessEqual(
                        len(message), int.from_bytes(most.group(1), "big") if most else MOST)
            self.assertEqual(agent.log(), before)


class NobodyReads(unittest.TestCase):
    """Standard error is a pipe that is full, and nobody reads it."""

    @contextlib.contextmanager
    def agent(self, *arguments):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "pipe")
            os.mkfifo(path)
            reader = os.open(path, os.O_RDWR | os.O_NONBLOCK)
            with contextlib.suppress(BlockingIOError):
                while True:
                    os.write(reader, b"x" * 100)
            with contextlib.suppress(BlockingIOError):
                while True:
                    os.write(reader, b"x")
            try:
                with Agent(document(acl_set("a")), arguments, wait=False,
                           prefix=["sh", "-c", 'exec "$0" "$@" 2>"%s"' % path]) as agent:
                    agent.reader = reader
                    wait_for(lambda: agent.run("snmpget", "1.3.6.1.2.1.1.3.0", check=False)
                             .returncode == 0, "an answer")
                    yield agent
            finally:
                os.close(reader)

    def test_it_serves_and_ends_all_the_same(self):
        with self.agent("--trace", "Snmp=2") as agent:
            agent.wait_for_walk(lambda walk: walk, NAMES)
            client = Client(agent.port)
            with client.socket:
                for number in range(500):
                    client.throw(unknown_type(number))
                    agent.process.send_signal(signal.SIGHUP)
                    if number % 20 == 0:
                        self.assertIsNotNone(client.answers(Question(0x7D000000 + number)))
            begun = time.monotonic()
            agent.process.send_signal(signal.SIGTERM)
            self.assertEqual(agent.process.wait(60), 0)
            self.assertLess(time.monotonic() - begun, 30)

    def test_it_tells_later_how_many_lines_were_lost(self):
        with self.agent() as agent:
            for _ in range(3):
                agent.process.send_signal(signal.SIGHUP)
                self.assertEqual(agent.get(SCALAR)[0][0], SCALAR)
            with contextlib.suppress(BlockingIOError):
                while True:
                    os.read(agent.reader, 65536)
            agent.process.send_signal(signal.SIGTERM)
            self.assertEqual(agent.process.wait(60), 0)
            said = os.read(agent.reader, 65536).decode()
            self.assertRegex(said, r"^\d+ lines of this log were lost: nobody read them\n"
                                   r"aclsnmpd ends\n$")


if __name__ == "__main__":
    unittest.main()
