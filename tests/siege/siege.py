"""All attacks at once against an agent that an honest client polls: siege.py SECONDS RULES [--short]

Says what each figure came to, and PASS or MISS; ends with 1 at a miss. With --short the times and
the growth of memory always pass: it is for seconds on a machine that is busy with other things.
"""

import contextlib
import json
import multiprocessing
import os
import random
import socket
import struct
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.environ["SOURCE_DIR"], "tests", "wire"))

from agent import Agent, acl_set, document, entry, table  # noqa: E402
from packets import GET, GETBULK, request, request3  # noqa: E402
from test_hostile import changed, seeds  # noqa: E402
from test_logs import CONFIGURATION, ENGINE, unknown_type  # noqa: E402
from test_streams import GIBIBYTE, LARGE, free_tcp_port, resident  # noqa: E402

SANITIZED = b"__asan_init" in open(os.environ["ACLSNMPD"], "rb").read()
RULES = table(1, 2) + (1, 2)
SYS_DESCR = (1, 3, 6, 1, 2, 1, 1, 1, 0)
UPTIME = request(GET, [(1, 3, 6, 1, 2, 1, 1, 3, 0)])
RULES_OF_ACL = 1000
# A poll reads so many rules with so many requests.
ROWS, REQUESTS = 50, 10
POLLS_A_SECOND = 20

TIMES_SLOWER = 3
GROWTH = 2 << 20
MORE_MEMORY = 32 << 20
LOG = 100_000


class Target:
    """Where the agent is, for the attackers' processes."""

    def __init__(self, agent, tcp, local):
        self.udp = ("127.0.0.1", agent.port)
        self.tcp = ("127.0.0.1", tcp)
        self.local = local


def paced(rate):
    """Comes back about so many times a second."""
    while True:
        yield
        time.sleep(1 / rate)


def datagrams(target, rate, packet):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.connect(target.udp)
        for number, _ in enumerate(paced(rate / 10)):
            for each in range(10):
                with contextlib.suppress(ConnectionError):
                    client.send(packet(number * 10 + each))
            with contextlib.suppress(BlockingIOError, ConnectionError):
                while True:
                    client.recv(65535, socket.MSG_DONTWAIT)


def strangers(target):
    """A line each, as it was: types of PDU that there are not, and unknown communities."""
    datagrams(target, 1000, unknown_type)


def wrong_names(target):
    """Unknown communities, users and engines, a new one each time."""
    def packet(number):
        name = b"stranger%d" % number
        if number % 3 == 0:
            return request(GET, [SYS_DESCR], community=name)
        return request3(GET, [SYS_DESCR], name, ENGINE if number % 3 == 1 else name)

    datagrams(target, 500, packet)


def nonsense(target):
    """Packets of all kinds, changed."""
    packets = seeds()
    rng = random.Random(1)
    datagrams(target, 500, lambda _: changed(rng.choice(packets), packets, rng))


def too_big(target):
    """Requests whose answers do not fit, from a client with the right to ask."""
    packets = [
        request(GET, [SYS_DESCR] * 1200),
        request3(GET, [SYS_DESCR] * 60, b"open", ENGINE, most=484),
        request3(GETBULK, [RULES], b"open", ENGINE, errors=(0, 100), most=484),
        request3(GETBULK, [RULES] * 60, b"open", ENGINE, errors=(0, 100), most=0x7FFFFFFF),
    ]
    datagrams(target, 10, lambda number: packets[number % len(packets)])


def from_nowhere(target):
    """Requests from port 0, which nobody can be answered at."""
    packet = struct.pack(">HHHH", 0, target.udp[1], 8 + len(UPTIME), 0) + UPTIME
    with socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_UDP) as raw:
        for _ in paced(200):
            raw.sendto(packet, ("127.0.0.1", 0))


def connection_flood(target):
    """Connections from many addresses that send half a large message, a little more, nothing."""
    clients = []
    for number, _ in enumerate(paced(100)):
        client = socket.socket()
        with contextlib.suppress(OSError):
            client.settimeout(2)
            client.bind(("127.0.%d.%d" % (2 + number % 5, 1 + number // 5 % 200), 0))
            client.connect(target.tcp)
            client.send(LARGE + bytes(30000) if number % 2 else b"\x30")
            clients.append(client)
        if len(clients) > 900:
            clients.pop(0).close()
        with contextlib.suppress(OSError, IndexError):
            clients[number % 900].send(b"x")


def announcements(target):
    """Messages of a gibibyte, over TCP and the local socket, whose name is an attack too."""
    for number, _ in enumerate(paced(20)):
        with contextlib.suppress(OSError), contextlib.ExitStack() as stack:
            if number % 2:
                client = stack.enter_context(socket.create_connection(target.tcp, 2))
            else:
                client = stack.enter_context(socket.socket(socket.AF_UNIX))
                client.settimeout(2)
                client.bind("\0abcd/nowhere%d" % number)
                client.connect(target.local)
            client.sendall(GIBIBYTE + bytes(100000))


def no_reader(target):
    """Asks for rows without end and never reads an answer."""
    packet = request(GETBULK, [RULES], errors=(0, 50))
    for _ in paced(1):
        with contextlib.suppress(OSError), socket.create_connection(target.tcp, 2) as client:
            client.setblocking(False)
            with contextlib.suppress(BlockingIOError):
                for _ in range(200):
                    client.send(packet)
            time.sleep(1)


def bad_documents(target, path):
    """A document that is refused each time that it is written."""
    for number, _ in enumerate(paced(0.1)):
        with open(path + ".new", "w") as out:
            out.write('{"openconfig-acl:acl": %d' % number)
        os.rename(path + ".new", path)


class Poller:
    """Reads rules as a manager does, and takes the time."""

    def __init__(self, agent):
        self.packet = [request(GETBULK, [RULES + (1, 97 + n % 20)], identifier=n, errors=(0, ROWS))
                       for n in range(REQUESTS)]
        self.address = ("127.0.0.1", agent.port)

    def poll(self, client):
        begun = time.monotonic()
        for packet in self.packet:
            client.send(packet)
            while True:
                try:
                    if len(client.recv(65535)) > 500:
                        break
                except socket.timeout:
                    client.send(packet)
        return time.monotonic() - begun

    def poll_for(self, seconds, look=lambda: None):
        """The times of all polls, sorted."""
        times = []
        end = time.monotonic() + seconds
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
            client.connect(self.address)
            client.settimeout(1)
            while time.monotonic() < end:
                times.append(self.poll(client))
                look()
                time.sleep(max(0, 1 / POLLS_A_SECOND - times[-1]))
        return sorted(times)


def processor_time(agent):
    """Seconds of CPU time that the agent has had."""
    with open("/proc/%d/stat" % agent.process.pid) as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def p99(times):
    return times[int(len(times) * 0.99)]


class Judge:
    def __init__(self):
        self.missed = False

    def figure(self, good, text):
        self.missed |= not good
        print("%s  %s" % ("PASS" if good else "MISS", text), flush=True)


def acls(rules):
    """ACLs of a thousand rules each, whose names are single letters in turn."""
    count = max(1, rules // RULES_OF_ACL)
    names = [chr(97 + n % 20) + ("" if n < 20 else str(n)) for n in range(count)]
    rows = [entry(10 * n + 10) for n in range(min(rules, RULES_OF_ACL))]
    return document(*(acl_set(name, entries=rows) for name in names))


def besiege(agent, target, bad, seconds, judged):
    judge = Judge()
    poller = Poller(agent)
    idle = p99(poller.poll_for(max(3, min(60, seconds / 5))))
    before = resident(agent)
    attacks = [(strangers,), (wrong_names,), (nonsense,), (too_big,), (connection_flood,),
               (announcements,), (no_reader,), (bad_documents, bad)]
    if os.geteuid() == 0:
        attacks.append((from_nowhere,))
    processes = [multiprocessing.Process(target=attack, args=(target, *more), daemon=True)
                 for attack, *more in attacks]
    for process in processes:
        process.start()
    begun = time.monotonic()
    used = processor_time(agent)
    memory = []

    def look():
        memory.append(resident(agent))

    try:
        times = poller.poll_for(seconds, look)
        used = (processor_time(agent) - used) / (time.monotonic() - begun)
        alive = [process.is_alive() for process in processes]
    finally:
        for process in processes:
            process.terminate()
            process.join()
    half = len(memory) // 2
    first = max(memory[:half], default=before)
    second = max(memory[half:])
    ratio = p99(times) / idle
    text = "p99 of %d polls %.1f ms, idle %.1f ms: %.1f times (at most %d)" % (
        len(times), p99(times) * 1e3, idle * 1e3, ratio, TIMES_SLOWER)
    judge.figure(not judged or ratio <= TIMES_SLOWER, text)
    print("      the agent used %.0f%% of a processor" % (used * 100))
    judge.figure(all(alive), "%d of %d attacks to the end" % (sum(alive), len(alive)))
    judge.figure(SANITIZED or second - before < MORE_MEMORY,
                 "memory %.1f MB, idle %.1f MB (at most %d more)"
                 % (second / 1e6, before / 1e6, MORE_MEMORY / 1e6))
    judge.figure(SANITIZED or not judged or second - first < GROWTH,
                 "memory grew by %.1f MB in the second half (at most %.1f)"
                 % ((second - first) / 1e6, GROWTH / 1e6))
    return judge


def main():
    seconds, rules = float(sys.argv[1]), int(sys.argv[2])
    tcp = free_tcp_port()
    with tempfile.TemporaryDirectory() as folder:
        local, bad = os.path.join(folder, "socket"), os.path.join(folder, "bad.json")
        with open(bad, "w") as out:
            out.write(json.dumps(document()))
        listen = ["--listen", "tcp:127.0.0.1:%d" % tcp, "--listen", "unix:" + local, "--acl", bad]
        with Agent(acls(rules), listen, CONFIGURATION) as agent:
            agent.wait_for_walk(lambda walk: len(walk) == max(1, rules // RULES_OF_ACL),
                                table(1, 1) + (1, 2))
            judge = besiege(agent, Target(agent, tcp, local), bad, seconds,
                            "--short" not in sys.argv)
            agent.process.terminate()
            code = agent.process.wait(60)
            judge.figure(code == 0, "ended with %d when told to" % code)
            said = len(agent.log())
            judge.figure(said < LOG, "%d octets of log (fewer than %d)" % (said, LOG))
            if judge.missed:
                print(agent.log()[-3000:])
    sys.exit(1 if judge.missed else 0)


if __name__ == "__main__":
    main()
