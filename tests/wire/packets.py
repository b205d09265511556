"""SNMP requests as octets, for what the tools do not send."""

GETNEXT, GETBULK = 0xA1, 0xA5


def _tlv(tag, content):
    length = len(content)
    if length < 128:
        return bytes([tag, length]) + content
    octets = length.to_bytes((length.bit_length() + 7) // 8, "big")
    return bytes([tag, 128 | len(octets)]) + octets + content


def _integer(value):
    return _tlv(2, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def _oid(oid):
    octets = bytearray([oid[0] * 40 + oid[1]])
    for part in oid[2:]:
        groups = [part & 0x7F]
        while part > 0x7F:
            part >>= 7
            groups.append(0x80 | part & 0x7F)
        octets += bytes(reversed(groups))
    return _tlv(6, bytes(octets))


def request(kind, oids, identifier=1, errors=(0, 0), community=b"public"):
    """A v2c request; of a GETBULK `errors` are non-repeaters and max-repetitions."""
    binds = b"".join(_tlv(0x30, _oid(oid) + _tlv(5, b"")) for oid in oids)
    pdu = _integer(identifier) + _integer(errors[0]) + _integer(errors[1]) + _tlv(0x30, binds)
    return _tlv(0x30, _integer(1) + _tlv(4, community) + _tlv(kind, pdu))
