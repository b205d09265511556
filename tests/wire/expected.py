"""What the MIB must hold for a document, worked out from the document alone.

Written apart from the agent: it reads the features that the example document uses and gives the whole
tree as one ordered list of (OID, type, value). Times of change are not known beforehand; they stand as
`TIME`.
"""

import ipaddress
import json

from agent import OBJECTS, name_index

TIME = object()
TYPES = {"ACL_IPV4": 1, "ACL_L2": 2, "ACL_IPV6": 3}
OPERATORS = {"any": 0, "eq": 1, "gt": 2, "lt": 3, "neq": 4, "range": 5}
FLAGS = ["TCP_FIN", "TCP_SYN", "TCP_RST", "TCP_PSH", "TCP_ACK", "TCP_URG"]
PROTOCOLS = {"IP_TCP": 6, "IP_UDP": 17, "IP_ICMP": 1}
ETHERTYPES = {
    "ETHERTYPE_IPV4": 0x0800,
    "ETHERTYPE_ARP": 0x0806,
    "ETHERTYPE_VLAN": 0x8100,
    "ETHERTYPE_IPV6": 0x86DD,
    "ETHERTYPE_MPLS": 0x8847,
    "ETHERTYPE_LLDP": 0x88CC,
    "ETHERTYPE_ROCE": 0x8915,
}
EXT = "zorlen-acl-ext:"


def truth(value):
    return ("INTEGER", 1 if value else 2)


def number(value):
    return ("Gauge32", value)


def octets(value):
    return ("Hex-STRING", value)


def text(value):
    return octets(value.encode())


def code(value):
    return ("INTEGER", value)


def protocol(value):
    return value if isinstance(value, int) else PROTOCOLS[value]


def ports(transport, side):
    """The operator and the text of one side's ports."""
    plain = transport.get(side + "-port")
    listed = transport.get(EXT + side + "-ports")
    oper = transport.get(EXT + side + "-port-operator")
    if plain is None and listed is None:
        return code(0), text("")
    if isinstance(plain, str) and ".." in plain:
        return code(OPERATORS["range"]), text(plain.replace("..", "-"))
    shown = " ".join(str(port) for port in (listed or [plain]))
    return code(OPERATORS[oper or "eq"]), text(shown)


def ipv4(config, side):
    address = config.get(side + "-address")
    if address is None:
        return ("IpAddress", "0.0.0.0"), ("IpAddress", "0.0.0.0")
    mask = config.get(EXT + side + "-mask")
    if mask is None:
        mask = str(ipaddress.ip_network(address, strict=False).netmask)
    return ("IpAddress", address.split("/")[0]), ("IpAddress", mask)


def ipv6(config, side):
    address, _, length = config.get(side + "-address", "::/0").partition("/")
    mask = ipaddress.ip_network("::/" + length).netmask
    return octets(ipaddress.ip_address(address).packed), octets(mask.packed)


def mac(config, side):
    address = config.get(side + "-mac")
    if address is None:
        return octets(bytes(6)), octets(bytes(6))
    mask = config.get(side + "-mac-mask", "ff:ff:ff:ff:ff:ff")
    return tuple(octets(bytes.fromhex(part.replace(":", ""))) for part in (address, mask))


def tcp_flags(transport):
    bits = 0
    for flag in transport.get("tcp-flags", []):
        bits |= 0x80 >> FLAGS.index(flag)
    return octets(bytes([bits]))


def established(transport):
    return truth(
        transport.get(EXT + "established")
        or transport.get("builtin-detail") == "TCP_ESTABLISHED"
    )


def hop_limit(config):
    limit = config.get("hop-limit")
    if limit is None:
        return code(0), number(0)
    return code(OPERATORS[config.get(EXT + "hop-limit-operator", "eq")]), number(limit)


def ip_columns(entry):
    config = entry.get("ipv4", {}).get("config", {})
    icmp = entry.get("ipv4", {}).get("icmpv4", {}).get("config", {})
    transport = entry.get("transport", {}).get("config", {})
    return [
        number(protocol(config.get("protocol", 0))),
        *ipv4(config, "source"),
        *ipv4(config, "destination"),
        *ports(transport, "source"),
        *ports(transport, "destination"),
        *hop_limit(config),
        truth(config.get(EXT + "tracked")),
        truth(config.get(EXT + "fragments")),
        tcp_flags(transport),
        established(transport),
        number(icmp.get("type", 0)),
        number(icmp.get("code", 0)),
    ]


def ip6_columns(entry):
    config = entry.get("ipv6", {}).get("config", {})
    icmp = entry.get("ipv6", {}).get("icmpv6", {}).get("config", {})
    transport = entry.get("transport", {}).get("config", {})
    return [
        number(protocol(config.get("protocol", 0))),
        *ipv6(config, "source"),
        *ipv6(config, "destination"),
        *ports(transport, "source"),
        *ports(transport, "destination"),
        *hop_limit(config),
        tcp_flags(transport),
        established(transport),
        number(icmp.get("type", 0)),
        number(icmp.get("code", 0)),
    ]


def mac_columns(entry):
    config = entry.get("l2", {}).get("config", {})
    ethertype = config.get("ethertype", 0)
    return [
        *mac(config, "source"),
        *mac(config, "destination"),
        number(ethertype if isinstance(ethertype, int) else ETHERTYPES[ethertype]),
    ]


COLUMNS = {"ACL_IPV4": ip_columns, "ACL_IPV6": ip6_columns, "ACL_L2": mac_columns}


def rule_columns(kind, entry):
    actions = entry.get("actions", {}).get("config", {})
    return COLUMNS[kind](entry) + [
        code(0 if actions.get("forwarding-action", "ACCEPT") == "ACCEPT" else 1),
        truth(actions.get("log-action") == "LOG_SYSLOG"),
        text(entry["config"].get("description", "")),
    ]


def name_of(acl):
    given = acl["config"].get(EXT + "name-octets")
    return acl["name"].encode() if given is None else bytes.fromhex(given)


def by_column(base, rows):
    """Rows of (index, values of the columns from 2 on) as varbinds in OID order."""
    ordered = sorted(rows)
    width = len(rows[0][1]) if rows else 0
    return [
        (base + (1, 2 + i) + index, *values[i]) for i in range(width) for index, values in ordered
    ]


def golden(path):
    with open(path) as document:
        acls = json.load(document)["openconfig-acl:acl"]
    tree = []
    for kind, group in sorted(TYPES.items(), key=lambda item: item[1]):
        acl_rows, rule_rows, stats_rows = [], [], []
        for acl in acls["acl-sets"]["acl-set"]:
            if acl["type"] != kind:
                continue
            name = name_index(name_of(acl))
            config, state = acl["config"], acl.get("state", {})
            acl_rows.append(
                (
                    name,
                    [
                        truth(config.get(EXT + "read-only")),
                        truth(config.get(EXT + "counters-enabled")),
                        truth(state.get(EXT + "counters-incomplete")),
                    ],
                )
            )
            for entry in acl["acl-entries"]["acl-entry"]:
                index = name + (entry["sequence-id"],)
                packets = int(entry.get("state", {}).get("matched-packets", 0))
                rule_rows.append((index, rule_columns(kind, entry)))
                stats_rows.append(((0,) + index, [("Counter64", packets), ("Timeticks", TIME)]))
        for number_, rows in enumerate((acl_rows, rule_rows, stats_rows), 1):
            tree += by_column(OBJECTS + (group, number_), rows)
    plane = acls.get(EXT + "data-plane", {})
    bits = 0
    for place, feature in enumerate(("acl", "logging", "counters", "router-acl")):
        if plane.get(feature + "-supported"):
            bits |= 0x80 >> place
    return tree + [(OBJECTS + (4, 0), *octets(bytes([bits])))]
