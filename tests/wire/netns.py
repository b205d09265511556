"""Network namespaces of the tests' own, with nftables and real packets in them.

Two namespaces joined by a veth pair: the agent and the ruleset stand in the inner one, packets are
sent from the outer one. Needs root; without it whoever imports this ends with 77, which is a skip.
"""

import ctypes
import os
import json
import socket
import struct
import subprocess
import sys
import time

from agent import Agent, parse_values, table, wait_for

CLONE_NEWNET = 0x40000000
SKIPPED = 77
INNER_IP, OUTER_IP = "192.0.2.1", "192.0.2.2"
INNER_IP6, OUTER_IP6 = "2001:db8::1", "2001:db8::2"
INNER_MAC, OUTER_MAC = "02:00:00:00:00:01", "02:00:00:00:00:02"

libc = ctypes.CDLL(None, use_errno=True)


def run(*command, check=True, text=None):
    result = subprocess.run(command, input=text, capture_output=True, text=True, timeout=60)
    if check and result.returncode != 0:
        raise AssertionError("%s: %s" % (" ".join(command), result.stderr))
    return result.stdout


class Namespace:
    """A network namespace with a name of this process's own."""

    count = 0

    def __init__(self):
        Namespace.count += 1
        self.name = "aclsnmp-%d-%d" % (os.getpid(), Namespace.count)
        run("ip", "netns", "add", self.name)
        self.ip("link", "set", "lo", "up")

    def close(self):
        run("ip", "netns", "del", self.name, check=False)

    def ip(self, *arguments):
        return run("ip", "-n", self.name, *arguments)

    def prefix(self):
        return ["ip", "netns", "exec", self.name]

    def nft(self, ruleset):
        """Applies commands as one transaction."""
        return run(*self.prefix(), "nft", "-f", "-", text=ruleset)

    def listing(self):
        listed = run(*self.prefix(), "nft", "-j", "-a", "list", "ruleset")
        return json.loads(listed)["nftables"]

    def counted(self, chain):
        """Comment to packets of the rules of a chain, as nft itself says."""
        found = {}
        for element in self.listing():
            rule = element.get("rule")
            if rule is None or rule["chain"] != chain:
                continue
            for statement in rule["expr"]:
                counter = statement.get("counter")
                if isinstance(counter, dict):
                    found[rule.get("comment")] = counter["packets"]
        return found

    def __enter__(self):
        """Code of this thread runs in the namespace."""
        self.outside = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
        with open("/var/run/netns/" + self.name) as inside:
            if libc.setns(inside.fileno(), CLONE_NEWNET) != 0:
                raise OSError(ctypes.get_errno(), "setns")
        return self

    def __exit__(self, *_):
        libc.setns(self.outside, CLONE_NEWNET)
        os.close(self.outside)


class Net:
    """The inner namespace, the outer one and the wire between them."""

    def __init__(self):
        self.inner, self.outer = Namespace(), Namespace()
        run("ip", "link", "add", "in0", "netns", self.inner.name, "address", INNER_MAC,
            "type", "veth", "peer", "out0", "netns", self.outer.name, "address", OUTER_MAC)
        for space, device, address, address6, other, other6, mac in (
            (self.inner, "in0", INNER_IP, INNER_IP6, OUTER_IP, OUTER_IP6, OUTER_MAC),
            (self.outer, "out0", OUTER_IP, OUTER_IP6, INNER_IP, INNER_IP6, INNER_MAC),
        ):
            space.ip("addr", "add", address + "/24", "dev", device)
            space.ip("addr", "add", address6 + "/64", "dev", device, "nodad")
            space.ip("link", "set", device, "up")
            # No packets but those that the tests send.
            space.ip("neigh", "add", other, "lladdr", mac, "dev", device, "nud", "permanent")
            space.ip("neigh", "add", other6, "lladdr", mac, "dev", device, "nud", "permanent")

    def close(self):
        self.inner.close()
        self.outer.close()

    # Packets from outside, each sent once.

    def udp(self, count, port, address=INNER_IP):
        family = socket.AF_INET6 if ":" in address else socket.AF_INET
        with self.outer, socket.socket(family, socket.SOCK_DGRAM) as sender:
            for _ in range(count):
                sender.sendto(b"x", (address, port))

    def raw(self, count, payload, protocol, address=INNER_IP, ttl=64):
        with self.outer, socket.socket(socket.AF_INET, socket.SOCK_RAW, protocol) as sender:
            sender.setsockopt(socket.IPPROTO_IP, socket.IP_TTL, ttl)
            for _ in range(count):
                sender.sendto(payload, (address, 0))

    def tcp(self, count, port, flags, **options):
        header = struct.pack("!HHIIBBHHH", 40000, port, 1, 1, 5 << 4, flags, 1024, 0, 0)
        self.raw(count, header, socket.IPPROTO_TCP, **options)

    def icmp(self, count, kind, code=0):
        body = struct.pack("!BBHI", kind, code, 0, 0)
        checksum = ~sum(struct.unpack("!4H", body)) & 0xFFFF
        self.raw(count, body[:2] + struct.pack("!H", checksum) + body[4:], socket.IPPROTO_ICMP)

    def icmp6(self, count, kind):
        with self.outer, socket.socket(socket.AF_INET6, socket.SOCK_RAW,
                                       socket.IPPROTO_ICMPV6) as sender:
            for _ in range(count):
                sender.sendto(struct.pack("!BBHI", kind, 0, 0, 0), (INNER_IP6, 0))

    def frame(self, count, ether_type, destination=INNER_MAC, source=OUTER_MAC):
        octets = b"".join(bytes.fromhex(mac.replace(":", "")) for mac in (destination, source))
        octets += struct.pack("!H", ether_type) + bytes(46)
        with self.outer, socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as sender:
            sender.bind(("out0", 0))
            for _ in range(count):
                sender.send(octets)


class NamespaceAgent(Agent):
    """An agent in a namespace; its tools run there too."""

    def __init__(self, space, arguments=(), acls=None, command=(), **options):
        self.space = space
        self.command = list(command)
        super().__init__(acls, arguments=["--nftables", *arguments], **options)

    def launch_prefix(self):
        return self.space.prefix() + self.command

    def tool_prefix(self):
        return self.space.prefix()

    # What it serves, by the comments of the rules.

    def column(self, group, number, column):
        """Name and sequence number to value; of statistics under the time mark 0."""
        found = {}
        root = table(group, number) + (1, column)
        for oid, _, value in self.bulkwalk(root, repetitions=50):
            index = oid[len(root):]
            if number == 3:
                index = index[1:]
            name = bytes(index[1 : 1 + index[0]]).decode()
            found[name, index[1 + index[0]] if number != 1 else None] = value
        return found

    def remarks(self, group):
        column = {1: 21, 2: 9, 3: 19}[group]
        texts = self.column(group, 2, column)
        return {key: text.strip('"') if isinstance(text, str) else text.decode()
                for key, text in texts.items()}

    def counts(self, group, name):
        """Remark to packets of the rules of an ACL."""
        remarks = self.remarks(group)
        return {remarks[key]: value for key, value in self.column(group, 3, 2).items()
                if key[0] == name and key in remarks}

    def wait_for_counts(self, group, name, expected):
        try:
            wait_for(lambda: self.counts(group, name) == expected, "counts")
        except AssertionError:
            raise AssertionError("%s: %s, expected %s\n%s" % (name, self.counts(group, name),
                                                              expected, self.log()))


def skip_without_namespaces():
    try:
        Namespace().close()
    except (AssertionError, FileNotFoundError) as error:
        print("skipped: no network namespace can be made here: %s" % error)
        sys.stdout.flush()
        os._exit(SKIPPED)
