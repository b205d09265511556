"""SNMP requests as octets, for what the tools do not send."""

GET, GETNEXT, GETBULK = 0xA0, 0xA1, 0xA5


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


def _pdu(kind, oids, identifier, errors):
    binds = b"".join(_tlv(0x30, _oid(oid) + _tlv(5, b"")) for oid in oids)
    return _tlv(kind, _integer(identifier) + _integer(errors[0]) + _integer(errors[1])
                + _tlv(0x30, binds))


def request(kind, oids, identifier=1, errors=(0, 0), community=b"public"):
    """A v2c request; of a GETBULK `errors` are non-repeaters and max-repetitions."""
    pdu = _pdu(kind, oids, identifier, errors)
    return _tlv(0x30, _integer(1) + _tlv(4, community) + pdu)


def request3(kind, oids, user, engine, identifier=1, errors=(0, 0), most=65507):
    """A request of version 3 without authentication; the client takes `most` octets."""
    head = _integer(identifier) + _integer(most) + _tlv(4, b"\x04") + _integer(3)
    security = (_tlv(4, engine) + _integer(0) + _integer(0) + _tlv(4, user) + _tlv(4, b"")
                + _tlv(4, b""))
    scoped = _tlv(4, engine) + _tlv(4, b"") + _pdu(kind, oids, identifier, errors)
    return _tlv(0x30, _integer(3) + _tlv(0x30, head) + _tlv(4, _tlv(0x30, security))
                + _tlv(0x30, scoped))


def parts(octets):
    """The (tag, content) pairs that stand one after the other."""
    found = []
    while octets:
        tag, length, start = octets[0], octets[1], 2
        if length & 0x80:
            start += length & 0x7F
            length = int.from_bytes(octets[2:start], "big")
        found.append((tag, octets[start:start + length]))
        octets = octets[start + length:]
    return found


def answer(message):
    """(error status, error index, number of variables) of a response."""
    version, *_, last = parts(parts(message)[0][1])
    pdu = parts(last[1])[2][1] if version[1] == b"\x03" else last[1]
    _, status, index, binds = parts(pdu)
    return status[1][0], int.from_bytes(index[1], "big"), len(parts(binds[1]))
