"""The whole tree of the example document, read with the npm package net-snmp."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from agent import OBJECTS, SOURCE_DIR
from clients import ClientTest, cannot_be_had

HERE = os.path.join(SOURCE_DIR, "tests", "clients", "npm")
# npm's words for a package that cannot be fetched. Whatever else it says is a failure.
UNREACHABLE = re.compile(
    r"\b(ENOTFOUND|EAI_AGAIN|ECONNREFUSED|ECONNRESET|ETIMEDOUT|ENETUNREACH|EHOSTUNREACH"
    r"|ENOTCACHED|E4\d\d|E5\d\d)\b"
)


def modules():
    """The folder of the installed packages, which is kept as long as the lock file is the same."""
    folder = os.path.join(os.environ.get("CLIENTS_DIR") or tempfile.gettempdir(), "npm")
    installed = os.path.join(folder, "node_modules")
    lock = os.path.join(folder, "package-lock.json")
    with open(os.path.join(HERE, "package-lock.json"), "rb") as wanted:
        text = wanted.read()
    if os.path.exists(os.path.join(installed, ".package-lock.json")):
        with open(lock, "rb") as there:
            if there.read() == text:
                return installed
    os.makedirs(folder, exist_ok=True)
    for file in ("package.json", "package-lock.json"):
        shutil.copy(os.path.join(HERE, file), folder)
    try:
        result = subprocess.run(
            ["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund", "--fetch-retries=1"],
            cwd=folder,
            capture_output=True,
            text=True,
            timeout=150,
        )
    except subprocess.TimeoutExpired:
        cannot_be_had("net-snmp of npm")
    if result.returncode != 0:
        if UNREACHABLE.search(result.stderr):
            cannot_be_had("net-snmp of npm")
        raise AssertionError("npm ci: " + result.stdout + result.stderr)
    return installed


for program, package in (("node", "nodejs"), ("npm", "npm")):
    if shutil.which(program) is None:
        cannot_be_had(package)
MODULES = modules()


def plain(name, kind, value):
    if kind == "Hex-STRING":
        value = bytes.fromhex(value)
    elif kind == "Counter64":
        value = int(value)
    return tuple(map(int, name.split("."))), kind, value


class NetSnmpOfNpm(ClientTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        try:
            result = subprocess.run(
                ["node", os.path.join(HERE, "walk.js"), str(cls.agent.port),
                 ".".join(map(str, OBJECTS))],
                capture_output=True,
                text=True,
                env=dict(os.environ, NODE_PATH=MODULES),
                timeout=120,
            )
            if result.returncode != 0:
                raise AssertionError("walk.js: " + result.stderr)
            cls.found = {
                way: [plain(*bind) for bind in binds]
                for way, binds in json.loads(result.stdout).items()
            }
        except BaseException:
            cls.agent.close()
            raise

    def test_subtree(self):
        self.assertTree(self.found["subtree"])

    def test_getbulk(self):
        self.assertTree(self.found["getbulk"])

    def test_subtree_with_authentication_and_privacy(self):
        self.assertTree(self.found["v3"])

    def test_counts_above_two_to_the_53_are_exact(self):
        wanted = {o: v for o, k, v in self.tree if k == "Counter64" and v > 2**53}
        self.assertTrue(wanted)
        found = {o: v for o, _, v in self.found["getbulk"] if o in wanted}
        self.assertEqual(found, wanted)


class LockFile(unittest.TestCase):
    def test_it_pins_every_package_and_names_no_host(self):
        with open(os.path.join(HERE, "package-lock.json")) as lock:
            packages = json.load(lock)["packages"]
        for name, package in packages.items():
            with self.subTest(name):
                self.assertNotIn("resolved", package)
                if name:
                    self.assertRegex(package["integrity"], "^sha512-")


if __name__ == "__main__":
    unittest.main()
