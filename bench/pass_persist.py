#!/usr/bin/env python3
"""The comparator that an operator would write: the rules under snmpd's `pass_persist`.

    pass_persist .1.3.6.1.4.1.32473.99.3 /usr/bin/python3 pass_persist.py ACLS RULES

Rows are kept sorted; a GETNEXT is one binary search, so what it costs is mostly the pipe.
"""

import bisect
import sys

ROOT = (1, 3, 6, 1, 4, 1, 32473, 99, 3, 1)
FIRST, LAST = 2, 21


def value(column, number):
    if column in (3, 4, 5, 6):
        return "ipaddress", "10.%d.%d.0" % (number >> 8 & 255, number & 255)
    if column in (8, 10, 21):
        return "string", "1024-65535"
    return "integer", str(number % 2)


def main():
    acls, rules = int(sys.argv[1]), int(sys.argv[2])
    indexes = []
    for acl in range(acls):
        name = ("edge-acl-%05d" % acl).encode()
        for rule in range(rules):
            indexes.append((len(name), *name, 10 * (rule + 1)))

    def answer(place):
        column, row = place
        oid = ".%s" % ".".join(map(str, ROOT + (column,) + indexes[row]))
        return "%s\n%s\n%s\n" % ((oid,) + value(column, row))

    def get(oid):
        column, index = oid[len(ROOT)], oid[len(ROOT) + 1:]
        row = bisect.bisect_left(indexes, index)
        found = FIRST <= column <= LAST and row < len(indexes) and indexes[row] == index
        return (column, row) if found else None

    def getnext(oid):
        if oid < ROOT:
            return FIRST, 0
        column = oid[len(ROOT)] if len(oid) > len(ROOT) else 0
        if column < FIRST:
            return FIRST, 0
        row = bisect.bisect_right(indexes, oid[len(ROOT) + 1:])
        if row == len(indexes):
            column, row = column + 1, 0
        return (column, row) if column <= LAST else None

    while True:
        command = sys.stdin.readline().strip()
        if command == "PING":
            reply = "PONG\n"
        elif command in ("get", "getnext"):
            text = sys.stdin.readline().strip()
            oid = tuple(int(part) for part in text.split(".") if part)
            place = get(oid) if command == "get" else getnext(oid)
            reply = answer(place) if place else "NONE\n"
        elif not command:
            return
        else:
            reply = "NONE\n"
        sys.stdout.write(reply)
        sys.stdout.flush()


main()
