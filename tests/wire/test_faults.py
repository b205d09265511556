"""What goes wrong around an agent: it says so in one line, and goes on or ends as promised."""

import contextlib
import ctypes
import json
import os
import resource
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from agent import ACLSNMPD, CONFIGURATION, Agent, OBJECTS, acl_set, document, entry, table, wait_for
from packets import GETBULK, request

V3 = ("-v3", "-u", "reader", "-l", "authPriv", "-a", "SHA", "-A", "reader-auth-pass", "-x", "AES",
      "-X", "reader-priv-pass")
SCALAR = OBJECTS + (4, 0)
RULES = table(1, 2) + (1, 2)
# Asks again soon: a packet that finds the agent's socket full is lost, as everywhere.
PATIENT = Agent.V2C + ("-t", "0.5", "-r", "19")
SANITIZED = b"__asan_init" in open(ACLSNMPD, "rb").read()
ROOT = os.geteuid() == 0
UNSERVED = "only udp, udp6, tcp, tcp6 and unix are served"
NOBODY = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"]


def rules(count, acls=1):
    return document(
        *(acl_set("acl-%03d" % n, entries=[entry(10 * i + 10) for i in range(count)])
          for n in range(acls))
    )


def also_tcp(agent_arguments=()):
    """A port of its own for TCP: the agent's UDP port number is only known to be free for UDP."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    return port, ["--listen", "tcp:127.0.0.1:%d" % port, *agent_arguments]


def with_descriptors(limit):
    def set_limit():
        resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))

    return set_limit


class Clients(unittest.TestCase):
    def answers_soon(self, agent):
        """Somebody else is served meanwhile; the tool's own start is part of the time."""
        begun = time.monotonic()
        self.assertEqual(agent.get(SCALAR, security=PATIENT)[0][1], "Hex-STRING")
        self.assertLess(time.monotonic() - begun, 10)

    def test_a_tcp_client_that_never_reads_is_ended_and_nobody_else_waits(self):
        port, arguments = also_tcp()
        with Agent(rules(1000), arguments) as agent:
            agent.wait_for_walk(lambda walk: len(walk) == 1000, RULES)
            packet = request(GETBULK, [OBJECTS], errors=(0, 500))
            with socket.create_connection(("127.0.0.1", port)) as client:
                client.setblocking(False)
                deadline = time.monotonic() + 60
                while "does not read its answers: connection ended" not in agent.log():
                    self.assertLess(time.monotonic(), deadline, agent.log())
                    with contextlib.suppress(BlockingIOError, ConnectionError):
                        client.send(packet * 50)
                self.answers_soon(agent)
            self.assertEqual(agent.log().count("does not read its answers"), 1)
            self.assertNotIn("send response", agent.log())

    def test_a_udp_client_that_never_reads_holds_nobody_up(self):
        with Agent(rules(1000)) as agent:
            agent.wait_for_walk(lambda walk: len(walk) == 1000, RULES)
            packet = request(GETBULK, [OBJECTS], errors=(0, 500))
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
                client.connect(("127.0.0.1", agent.port))
                for _ in range(500):
                    client.send(packet)
                self.answers_soon(agent)

    def test_half_a_request_holds_nobody_up_and_is_answered_when_whole(self):
        port, arguments = also_tcp()
        with Agent(rules(1), arguments) as agent:
            packet = request(GETBULK, [OBJECTS], identifier=7, errors=(0, 1))
            with socket.create_connection(("127.0.0.1", port), timeout=60) as client:
                client.send(packet[:11])
                self.answers_soon(agent)
                client.send(packet[11:])
                self.assertEqual(client.recv(4096)[:1], b"\x30")

    def test_requests_that_are_longer_than_one_read_are_answered(self):
        port, arguments = also_tcp()
        with Agent(rules(1), arguments) as agent:
            many = request(GETBULK, [SCALAR[:-1]] * 300, errors=(300, 0))
            self.assertGreater(len(many), 4096)
            with socket.create_connection(("127.0.0.1", port), timeout=60) as client:
                client.send(many)
                self.assertEqual(client.recv(4096)[:1], b"\x30")

    def test_tcp_and_local_sockets_serve_whole_walks(self):
        with tempfile.TemporaryDirectory() as folder:
            local = os.path.join(folder, "socket")
            port, arguments = also_tcp(["--listen", "unix:" + local])
            with Agent(rules(100), arguments) as agent:
                expected = agent.wait_for_walk(lambda walk: len(walk) == 100 and walk, RULES)
                for address in ("tcp:127.0.0.1:%d" % port, "unix:" + local):
                    self.assertEqual(
                        agent.bulkwalk(RULES, repetitions=50, security=V3, address=address),
                        expected)


class Descriptors(unittest.TestCase):
    def test_without_descriptors_connections_are_refused_with_one_line(self):
        port, arguments = also_tcp(["--max-connections-per-peer", "200"])
        with Agent(rules(1), arguments, preexec_fn=with_descriptors(64)) as agent:
            with contextlib.ExitStack() as connections:
                for _ in range(150):
                    connections.enter_context(socket.create_connection(("127.0.0.1", port)))
                agent.wait_for_log("no descriptor is left: new connections are refused")
                self.assertEqual(agent.get(SCALAR)[0][1], "Hex-STRING")
            wait_for(
                lambda: len(os.listdir("/proc/%d/fd" % agent.process.pid)) < 32,
                "the end of the connections",
            )
            self.assertEqual(agent.log().count("no descriptor is left"), 1)
            packet = request(GETBULK, [OBJECTS], errors=(0, 1))
            with socket.create_connection(("127.0.0.1", port), timeout=60) as client:
                client.send(packet)
                self.assertEqual(client.recv(4096)[:1], b"\x30")

    def test_it_serves_above_five_thousand_descriptors(self):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        if hard < 6000:
            self.skipTest("no more than %d descriptors are allowed here" % hard)
        resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, 6000), hard))
        port, arguments = also_tcp()
        with contextlib.ExitStack() as files:
            inherited = [
                files.enter_context(open("/dev/null")).fileno() for _ in range(5000)
            ]
            agent = files.enter_context(Agent(rules(10), arguments, pass_fds=inherited))
            files.callback(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
            agent.wait_for_walk(lambda walk: len(walk) == 10, RULES)
            self.assertGreater(len(os.listdir("/proc/%d/fd" % agent.process.pid)), 5000)
            with socket.create_connection(("127.0.0.1", port), timeout=60) as client:
                client.send(request(GETBULK, [OBJECTS], errors=(0, 1)))
                self.assertEqual(client.recv(4096)[:1], b"\x30")


class Signals(unittest.TestCase):
    def test_a_storm_of_sighup_changes_nothing_and_holds_nobody_up(self):
        with Agent(rules(100, acls=10)) as agent:
            agent.wait_for_walk(lambda walk: len(walk) == 1000, RULES)
            before = agent.bulkwalk()
            for _ in range(20):
                for _ in range(250):
                    agent.process.send_signal(signal.SIGHUP)
                self.assertEqual(agent.bulkwalk(RULES, repetitions=50),
                                 [bind for bind in before if bind[0][:len(RULES)] == RULES])
            said = agent.log().count("loaded 10 ACLs")
            self.assertGreaterEqual(said, 2)
            agent.write(document(acl_set("after")))
            agent.wait_for_walk(lambda walk: len(walk) == 1, table(1, 1) + (1, 2), "the last document")

    def test_sigterm_in_the_middle_of_a_backlog_ends_it_soon_and_cleanly(self):
        agent = Agent(rules(200, acls=250), wait=False)
        agent.wait_for_log("loaded 250 ACLs")
        begun = time.monotonic()
        # Closing sends SIGTERM and requires the exit code 0.
        agent.close()
        self.assertLess(time.monotonic() - begun, 30)

    def test_sigterm_while_a_document_is_read_ends_it_soon_and_cleanly(self):
        agent = Agent(rules(500, acls=200), wait=False)
        agent.wait_for_log("is ready")
        begun = time.monotonic()
        agent.close()
        self.assertLess(time.monotonic() - begun, 30)


class Start(unittest.TestCase):
    def fails(self, *arguments, prefix=()):
        """The one line that a start which fails says."""
        with tempfile.NamedTemporaryFile("w") as configuration, \
                tempfile.TemporaryDirectory() as state:
            configuration.write(CONFIGURATION)
            configuration.flush()
            if "--conf" not in arguments:
                arguments = ("--conf", configuration.name, *arguments)
            os.chmod(state, 0o777)
            for folder in ("cert_indexes", "mib_indexes"):  # said when the library makes them
                os.makedirs(os.path.join(state, folder), mode=0o777)
            result = subprocess.run([*prefix, ACLSNMPD, *arguments], capture_output=True, text=True,
                                    timeout=60, env={**os.environ, "SNMP_PERSISTENT_DIR": state})
        self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 1), result.stderr)
        return result.stderr

    def test_a_plugin_that_cannot_be_loaded_is_named_with_the_reason(self):
        with tempfile.TemporaryDirectory() as folder:
            plugin = os.path.join(folder, "broken.so")
            with open(plugin, "w") as out:
                out.write("this is no library")
            line = self.fails("--plugin-dir", folder)
            self.assertRegex(line, "^aclsnmpd: plug-in '%s' cannot be loaded: .+\n$" % plugin)
            os.remove(plugin)
            os.symlink(os.path.join(folder, "nowhere"), plugin)
            self.assertIn("cannot be loaded", self.fails("--plugin-dir", folder))

    def test_a_configuration_that_cannot_be_read_is_named_with_the_reason(self):
        with tempfile.TemporaryDirectory() as folder:
            line = self.fails("--conf", folder)
            self.assertEqual(line, "aclsnmpd: configuration file '%s' cannot be read: "
                                   "Is a directory\n" % folder)
            if not ROOT:
                return
            os.chmod(folder, 0o755)
            secret = os.path.join(folder, "secret.conf")
            with open(secret, "w") as out:
                out.write("rocommunity public\n")
            os.chmod(secret, 0)
            nobody = [*NOBODY, "--inh-caps=-all", "--bounding-set=-all"]
            self.assertIn("secret.conf' cannot be read: Permission denied",
                          self.fails("--conf", secret, prefix=nobody))

    def test_an_address_that_cannot_be_opened_is_named_with_the_reason(self):
        with Agent() as agent:
            cases = [
                ("udp:" + agent.address, "Address already in use"),
                ("udp:192.0.2.1:16100", "Cannot assign requested address"),
                ("nonsense:1", "not an address"),
                ("tlstcp:127.0.0.1:%d" % also_tcp()[0], UNSERVED),
                ("dtlsudp:127.0.0.1:%d" % also_tcp()[0], UNSERVED),
            ]
            for address, reason in cases:
                with self.subTest(address=address):
                    result = subprocess.run(
                        [ACLSNMPD, "--conf", agent.config_file, "--listen", address],
                        capture_output=True, text=True, timeout=60,
                        env={**os.environ, "SNMP_PERSISTENT_DIR": agent.folder + "/other"})
                    self.assertEqual(result.returncode, 1)
                    self.assertTrue(
                        result.stderr.endswith("aclsnmpd: cannot listen on %s: %s\n"
                                               % (address, reason)), result.stderr)


    def test_a_pipe_for_traces_without_a_reader_is_not_waited_for(self):
        with tempfile.TemporaryDirectory() as folder:
            pipe = os.path.join(folder, "pipe")
            os.mkfifo(pipe)
            self.assertEqual(
                self.fails("--trace-file", pipe, "--listen", "udp:127.0.0.1:0"),
                "aclsnmpd: trace file '%s' cannot be opened: No such device or address\n" % pipe)

    def test_a_pipe_for_traces_that_is_not_read_costs_traces_only(self):
        with tempfile.TemporaryDirectory() as folder:
            pipe = os.path.join(folder, "pipe")
            os.mkfifo(pipe)
            reader = os.open(pipe, os.O_RDONLY | os.O_NONBLOCK)
            with Agent(rules(500), ["--trace-file", pipe, "--trace", "Snmp=2"]) as agent:
                agent.wait_for_walk(lambda walk: len(walk) == 500, RULES)
                agent.wait_for_log("traces are lost: Resource temporarily unavailable")
                self.assertTrue(os.read(reader, 65536))
            os.close(reader)

    def test_a_number_that_is_none_is_refused(self):
        for option in ("--max-acl-file-size", "--max-connections", "--max-connections-per-peer"):
            for number in ("-1", "0", "", "1k"):
                with self.subTest(option=option, number=number):
                    result = subprocess.run([ACLSNMPD, option, number], capture_output=True,
                                            text=True, timeout=60)
                    self.assertNotEqual(result.returncode, 0)
                    self.assertIn("%s: '%s' is not a number of 1 or more" % (option, number),
                                  result.stderr)

    def test_closed_standard_descriptors_are_nobodys_sockets(self):
        closed = ["sh", "-c", 'exec "$0" "$@" 0<&- 1>&- 2>&-']
        with Agent(rules(1), wait=False, prefix=closed) as agent:
            wait_for(lambda: agent.run("snmpget", "1.3.6.1.2.1.1.3.0", check=False)
                     .returncode == 0, "an answer")
            for number in range(3):
                self.assertEqual(os.readlink("/proc/%d/fd/%d" % (agent.process.pid, number)),
                                 "/dev/null")


@unittest.skipUnless(ROOT, "capabilities are root's to give")
class Privileges(unittest.TestCase):
    def status(self, agent):
        """Of each thread: capabilities, and whether it can gain more."""
        found = []
        for thread in os.listdir("/proc/%d/task" % agent.process.pid):
            with open("/proc/%d/task/%s/status" % (agent.process.pid, thread)) as status:
                lines = dict(line.split(":", 1) for line in status)
            found.append({key: int(lines[key], 16)
                          for key in ("CapPrm", "CapEff", "CapInh", "CapAmb", "NoNewPrivs")})
        return found

    def test_who_is_the_user_already_gives_up_its_capabilities_too(self):
        with tempfile.TemporaryDirectory() as folder:
            state = os.path.join(folder, "state")
            os.chmod(folder, 0o755)
            os.mkdir(state)
            os.chmod(state, 0o777)
            caps = "+net_bind_service,+net_admin"
            # Its arguments begin with the configuration, in a folder that is root's alone.
            script = 'chmod 755 "$(dirname "$2")"; exec %s --inh-caps %s --ambient-caps %s "$0" "$@"'
            prefix = ["sh", "-c", script % (" ".join(NOBODY), caps, caps)]
            for arguments, left in (((), 0), (("--nftables",), 1 << 12)):
                with self.subTest(arguments=arguments), \
                        Agent(arguments=["--user", "65534:65534", *arguments], wait=False,
                              prefix=prefix,
                              environment={"SNMP_PERSISTENT_DIR": state}) as agent:
                    agent.wait_for_log("is ready")
                    for thread in self.status(agent):
                        self.assertEqual(thread, {"CapPrm": left, "CapEff": left, "CapInh": 0,
                                                  "CapAmb": 0, "NoNewPrivs": 1})


class SilentFileSystem:
    """A file system in user space whose server answers nothing, mounted until `end`."""

    LIBC = ctypes.CDLL(None, use_errno=True)

    def __init__(self, folder):
        self.folder = folder.encode()
        self.server = os.open("/dev/fuse", os.O_RDWR)
        options = "fd=%d,rootmode=40000,user_id=0,group_id=0" % self.server
        if self.LIBC.mount(b"silent", self.folder, b"fuse.silent", 0, options.encode()) != 0:
            os.close(self.server)
            raise OSError(ctypes.get_errno(), "mount")

    def end(self):
        """Whoever waits for it gets an error."""
        os.close(self.server)
        self.LIBC.umount2(self.folder, 2)


class Files(unittest.TestCase):
    LATE = "mnt/acls.json: has not been read within 10 s; what was published stays"
    NAMES = table(1, 1) + (1, 2)

    def silent(self, folder):
        try:
            return SilentFileSystem(folder)
        except OSError as error:
            self.skipTest("no file system in user space can be mounted here: %s" % error)

    def test_a_file_system_that_does_not_answer_costs_its_document_and_nothing_else(self):
        with tempfile.TemporaryDirectory() as folder:
            mount = os.path.join(folder, "mnt")
            os.mkdir(mount)
            hidden = os.path.join(mount, "acls.json")
            with open(hidden, "w") as out:
                json.dump(document(acl_set("hidden")), out)
            with Agent(document(acl_set("a")), ["--acl", hidden]) as agent:
                agent.wait_for_walk(lambda walk: len(walk) == 2, self.NAMES)
                silence = self.silent(mount)
                try:
                    agent.process.send_signal(signal.SIGHUP)
                    agent.wait_for_log("acls.json: loaded 1 ACL", 3)
                    begun = time.monotonic()
                    agent.write(document(acl_set("a"), acl_set("b")))
                    agent.wait_for_walk(lambda walk: len(walk) == 3, self.NAMES)
                    self.assertLess(time.monotonic() - begun, 10)
                    agent.wait_for_log(self.LATE)
                    agent.process.send_signal(signal.SIGHUP)
                    agent.wait_for_log("loaded 2 ACLs", 2)
                    self.assertEqual(len(agent.walk(self.NAMES)), 3)
                finally:
                    silence.end()
                agent.wait_for_log("mnt/acls.json: the reading that took long has ended")
                with open(hidden, "w") as out:
                    json.dump(document(acl_set("hidden"), acl_set("hidden too")), out)
                agent.process.send_signal(signal.SIGHUP)
                agent.wait_for_walk(lambda walk: len(walk) == 4, self.NAMES)
                self.assertEqual(agent.log().count(self.LATE), 1)

    @unittest.skipIf(SANITIZED, "the sanitizer waits for all threads to look for leaks")
    def test_sigterm_ends_it_while_file_systems_do_not_answer(self):
        with tempfile.TemporaryDirectory() as folder:
            mount = os.path.join(folder, "mnt")
            os.mkdir(mount)
            silence = self.silent(mount)
            try:
                files = [os.path.join(mount, "acls.json")] * 12
                arguments = [part for file in files for part in ("--acl", file)]
                with Agent(document(acl_set("a")), arguments) as agent:
                    agent.wait_for_log(self.LATE, len(files))
                    begun = time.monotonic()
                # Closing sends SIGTERM and requires the exit code 0; each document alone may take 5 s
                # of that where it is not known to hang.
                self.assertLess(time.monotonic() - begun, 30)
            finally:
                silence.end()


def with_memory(megabytes):
    def set_limit():
        resource.setrlimit(resource.RLIMIT_AS, (megabytes << 20, megabytes << 20))

    return set_limit


@unittest.skipIf(SANITIZED, "the sanitizer needs more address space than any limit gives")
class Memory(unittest.TestCase):
    def test_with_too_little_at_start_it_ends_with_one_line(self):
        outcomes = set()
        with Agent() as agent:
            for megabytes in range(12, 132, 2):
                process = subprocess.Popen(
                    [ACLSNMPD, "--conf", agent.config_file, "--listen", "udp:127.0.0.1:0"],
                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                    preexec_fn=with_memory(megabytes),
                    env={**os.environ, "SNMP_PERSISTENT_DIR": agent.folder + "/other"})
                said = []
                for line in process.stderr:
                    said.append(line)
                    if "is ready" in line:
                        process.terminate()
                code = process.wait(60)
                process.stderr.close()
                outcomes.add(code)
                with self.subTest(megabytes=megabytes, said=said):
                    if code == 127:  # not even the libraries fit
                        self.assertRegex(said[0], "shared libraries|Fatal glibc error")
                    elif code == 1:
                        self.assertEqual(said, ["aclsnmpd: not enough memory\n"])
                    else:
                        self.assertEqual(code, 0)
        self.assertEqual(outcomes, {0, 1, 127})

    def test_a_document_that_does_not_fit_is_refused_and_what_was_served_stays(self):
        with Agent(document(acl_set("a")), preexec_fn=with_memory(160)) as agent:
            agent.wait_for_walk(lambda walk: len(walk) == 1, table(1, 1) + (1, 2))
            agent.write(rules(1000, acls=400))
            agent.wait_for_log("acls.json: found too little memory to read it")
            self.assertEqual(len(agent.walk(table(1, 1) + (1, 2))), 1)
            agent.write(document(acl_set("a"), acl_set("b")))
            agent.wait_for_walk(lambda walk: len(walk) == 2, table(1, 1) + (1, 2))


class Clock(unittest.TestCase):
    UPTIME = (1, 3, 6, 1, 2, 1, 1, 3, 0)
    TIMES = table(1, 3) + (1, 3)

    def test_steps_of_the_wall_clock_move_no_time_of_a_counter(self):
        library = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1"
        if not os.path.exists(library):
            self.skipTest("no faketime here")
        with tempfile.TemporaryDirectory() as folder:
            offset = os.path.join(folder, "offset")

            def step(text):
                with open(offset + ".new", "w") as out:
                    out.write(text)
                os.rename(offset + ".new", offset)

            step("+0")
            environment = {
                "LD_PRELOAD": library,
                "FAKETIME_TIMESTAMP_FILE": offset,
                "FAKETIME_NO_CACHE": "1",
                "FAKETIME_DONT_FAKE_MONOTONIC": "1",
                "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0",
            }
            acls = document(acl_set("a", entries=[entry(10, pkts=1)], counters_enabled=True))
            with Agent(acls, environment=environment) as agent:
                first = agent.wait_for_walk(lambda walk: walk, self.TIMES)
                before = agent.get(self.UPTIME)[0][2]
                for text in ("+1d", "-1d", "+0"):
                    step(text)
                    self.assertEqual(agent.walk(self.TIMES), first)
                    now = agent.get(self.UPTIME)[0][2]
                    self.assertLess(now - before, 100 * 60)
                    self.assertGreaterEqual(now, before)
                    before = now
                step("+1d")
                changed = document(acl_set("a", entries=[entry(10, pkts=2)], counters_enabled=True))
                agent.write(changed)
                later = agent.wait_for_walk(lambda walk: walk != first and walk, self.TIMES)
                self.assertGreater(later[0][2], first[0][2])
                self.assertLessEqual(later[0][2], agent.get(self.UPTIME)[0][2])


if __name__ == "__main__":
    unittest.main()
