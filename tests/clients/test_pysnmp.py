"""The whole tree of the example document, read with PySNMP."""

import importlib.util
import unittest

from agent import OBJECTS
from clients import ClientTest, cannot_be_had

if importlib.util.find_spec("pysnmp") is None:
    cannot_be_had("python3-pysnmp4")

from pysnmp import hlapi
from pysnmp.proto import rfc1902, rfc1905

# An Unsigned32 and a Gauge32 are one type on the wire.
KINDS = [
    (rfc1902.Counter64, "Counter64"),
    (rfc1902.TimeTicks, "Timeticks"),
    (rfc1902.IpAddress, "IpAddress"),
    (rfc1902.Unsigned32, "Gauge32"),
    (rfc1902.Gauge32, "Gauge32"),
    (rfc1902.Integer32, "INTEGER"),
    (rfc1902.OctetString, "Hex-STRING"),
]
V2C = hlapi.CommunityData("public", mpModel=1)
V3 = hlapi.UsmUserData(
    "reader",
    "reader-auth-pass",
    "reader-priv-pass",
    authProtocol=hlapi.usmHMACSHAAuthProtocol,
    privProtocol=hlapi.usmAesCfb128Protocol,
)


def plain(name, value):
    """A varbind as (oid, type, value), as the expected tree has it."""
    kind = next((kind for cls, kind in KINDS if isinstance(value, cls)), type(value).__name__)
    if kind == "IpAddress":
        shown = ".".join(map(str, value.asOctets()))
    elif kind == "Hex-STRING":
        shown = value.asOctets()
    else:
        shown = int(value)
    return tuple(name), kind, shown


class PySnmp(ClientTest):
    def walk(self, security, repetitions=None):
        """A walk by GETNEXT, or by GETBULK with so many repetitions."""
        engine = hlapi.SnmpEngine()
        arguments = [
            engine,
            security,
            hlapi.UdpTransportTarget(("127.0.0.1", self.agent.port), timeout=10, retries=2),
            hlapi.ContextData(),
        ]
        command = hlapi.nextCmd
        if repetitions:
            command = hlapi.bulkCmd
            arguments += [0, repetitions]
        start = hlapi.ObjectType(hlapi.ObjectIdentity(OBJECTS))
        found = []
        try:
            for failure, status, _, binds in command(
                *arguments, start, lexicographicMode=False, lookupMib=False
            ):
                self.assertIsNone(failure)
                self.assertEqual(int(status), 0, status)
                if any(rfc1905.endOfMibView.isSameTypeWith(value) for _, value in binds):
                    break
                found += [plain(*bind) for bind in binds]
        finally:
            engine.transportDispatcher.closeDispatcher()
        return found

    def test_getnext(self):
        self.assertTree(self.walk(V2C))

    def test_getbulk(self):
        for repetitions in (1, 10, 40):
            with self.subTest(repetitions=repetitions):
                self.assertTree(self.walk(V2C, repetitions))

    def test_getnext_with_authentication_and_privacy(self):
        self.assertTree(self.walk(V3))

    def test_getbulk_with_authentication_and_privacy(self):
        self.assertTree(self.walk(V3, 25))

    def test_a_wrong_password_is_refused(self):
        wrong = hlapi.UsmUserData(
            "reader",
            "not-the-auth-pass",
            "reader-priv-pass",
            authProtocol=hlapi.usmHMACSHAAuthProtocol,
            privProtocol=hlapi.usmAesCfb128Protocol,
        )
        with self.assertRaisesRegex(AssertionError, "(?i)wrong SNMP PDU digest"):
            self.walk(wrong)


if __name__ == "__main__":
    unittest.main()
