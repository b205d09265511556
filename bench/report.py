"""The figures as tables: into docs/performance.md, between its markers, and onto standard output."""

import os
import platform
import re
import subprocess

from processes import BUILD, HERE

PAGE = os.path.join(HERE, "..", "docs", "performance.md")
BEGIN, END = "<!-- figures: written by bench/run -->", "<!-- end of figures -->"
# Above this load the wall clock says as much of the other programs as of ours.
QUIET = 0.6
START_LOAD = float(os.environ["BENCH_LOAD"])


def load():
    return os.getloadavg()[0]


class Required:
    """A figure that has a limit. `cpu` is the same figure from the server's processor time, which
    decides on a machine that was not quiet; nothing where there is only one."""

    def __init__(self, name, wall, cpu, at_least=None, at_most=None, always_by_cpu=False):
        self.name, self.wall, self.cpu = name, wall, cpu
        self.at_least, self.at_most = at_least, at_most
        self.by_cpu = cpu is not None and (always_by_cpu or START_LOAD > QUIET)

    def deciding(self):
        return self.cpu if self.by_cpu else self.wall

    def passed(self):
        figure = self.deciding()
        return figure >= self.at_least if self.at_least is not None else figure <= self.at_most

    def cells(self):
        limit = "at least %g" % self.at_least if self.at_least is not None else "at most %g" % self.at_most
        number = "%.0f" if self.wall >= 100 else "%.3f"
        return [self.name, limit, number % self.wall, "-" if self.cpu is None else number % self.cpu,
                "PASS" if self.passed() else "MISS"]


def cache_entry(name):
    with open(os.path.join(BUILD, "CMakeCache.txt")) as cache:
        found = re.search("^%s:[^=]*=(.*)$" % name, cache.read(), re.M)
    return found.group(1) if found else ""


def machine():
    with open("/proc/cpuinfo") as cpuinfo:
        model = re.search(r"model name\s*: (.*)", cpuinfo.read())
    compiler = subprocess.run([cache_entry("CMAKE_CXX_COMPILER"), "--version"], capture_output=True,
                              text=True).stdout.splitlines()
    return {
        "processor": "%d x %s" % (os.cpu_count(), model.group(1) if model else platform.machine()),
        "compiler": compiler[0] if compiler else "unknown",
        "build type": cache_entry("CMAKE_BUILD_TYPE") or "RelWithDebInfo",
        "load before": START_LOAD,
    }


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    lines += ["| " + " | ".join(map(str, row)) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def by_size(rates, cell, unit):
    sizes = sorted({size for size, _ in rates})
    names = list(dict.fromkeys(name for _, name in rates))
    rows = [[name] + [cell(rates[size, name]) if (size, name) in rates else "-" for size in sizes]
            for name in names]
    return table([unit] + ["{:,} rules".format(size) for size in sizes], rows)


def sections(out, quick):
    machine_line = ", ".join(
        "%s %s" % (name, "%.1f" % value if isinstance(value, float) else value)
        for name, value in out["machine"].items())
    yield "", "%s run; %s. The verdicts are by %s.\n" % (
        "Quick" if quick else "Full", machine_line,
        "processor time: the machine was not quiet" if START_LOAD > QUIET else "the wall clock")
    yield "Required", table(["figure", "limit", "wall clock", "processor time", ""],
                            [figure.cells() for figure in out["required"]])

    def speed(rates):
        return "{:,.0f} ({:.1f})".format(rates.wall(), rates.cpu_us())

    yield "Requests per second (microseconds of the server's processor each)", by_size(
        out["single"], speed, "16 under way")
    yield "Varbinds per second (microseconds each)", by_size(out["many"], speed, "16 under way")
    yield "pass_persist under stock snmpd, 100,000 rules", table(
        ["", "per second (microseconds each)"],
        [["GETNEXT requests", speed(out["script"]["GETNEXT"])],
         ["GETBULK(50) varbinds", speed(out["script"]["GETBULK(50)"])]])
    yield "Latency in microseconds, one request under way: p50 / p99 / longest", by_size(
        out["latency"],
        lambda r: " / ".join("%.0f" % r.latency(which) for which in ("p50", "p99", "max")), "")
    nothing = {key: r for key, r in out["walks"].items() if r.per == "requests"}
    yield "Walks by GETBULK(50): varbinds per second (microseconds each)", by_size(
        {key: r for key, r in out["walks"].items() if key not in nothing}, speed, "table")
    yield "A time mark that nothing has reached: milliseconds for the one request", by_size(
        nothing, lambda r: "%.2f" % (r.cpu_us() / 1000), "")
    yield "Synchronisation: from the model to all rows", table(
        ["ACLs x rules", "seconds", "processor seconds", "microseconds per rule"],
        [["{:,} x {:,}".format(*shape), "%.3f" % middle(runs, "wall_s"), "%.3f" % middle(runs, "cpu_s"),
          "%.2f" % (1e6 * middle(runs, "cpu_s") / (shape[0] * shape[1]))]
         for shape, runs in out["shapes"].items()])
    flat, many = out["shapes"][10, 10000], out["shapes"][1000, 100]
    text = ("The same 100,000 rows cost %.1f times as much in 1,000 ACLs as in 10.\n"
            % (middle(many, "cpu_s") / middle(flat, "cpu_s")))
    if (10000, 100) in out["shapes"]:
        text += ("From 100,000 rows to 1,000,000 rows of the same ACLs the time grows by a factor of %.0f.\n"
                 % (middle(out["shapes"][10000, 100], "cpu_s") / middle(many, "cpu_s")))
    yield "", text
    yield "Changes in a model of 1,000 x 100", table(
        ["", "milliseconds"],
        [["one more rule in the current version", milli(out["change inplace"])],
         ["one more rule in a new version", milli(out["change version"])],
         ["1,000 ACLs deleted", milli(out["delete"])]])
    yield "Bursts: requests while the backlog drains", table(
        ["ACLs x rules, changes", "entries taken", "drained in s", "idle p50 / p99 us",
         "meanwhile p50 / p99 / longest us"],
        [["{:,} x {:,}, {:,}".format(*key), "{:,.0f}".format(median(r["entries"] for _, _, r in runs)),
          "%.2f" % median(r["wall_s"] for _, _, r in runs),
          " / ".join("%.0f" % median(i[w] for i, _, _ in runs) for w in ("p50_us", "p99_us")),
          " / ".join("%.0f" % median(b[w] for _, b, _ in runs) for w in ("p50_us", "p99_us", "max_us"))]
         for key, runs in out["bursts"].items()])
    yield "Memory per rule in 1,000 x 100, by mallinfo2", table(
        ["", "octets"],
        [["rule row, statistics row and their share of mirrors and state machines", "%.0f" % out["memory"][0]],
         ["the model's own configuration and status", "%.0f" % out["memory"][1]]])
    yield "Micro benchmarks", table(["", "nanoseconds"],
                                    [[name, "%.1f" % time] for name, time in out["micro"]])
    yield "Instructions, by callgrind", table(
        ["", "instructions"], [[name, "{:,.0f}".format(count)] for name, count in out["instructions"]])


def median(values):
    ordered = sorted(values)
    middle_two = ordered[(len(ordered) - 1) // 2], ordered[len(ordered) // 2]
    return sum(middle_two) / 2


def middle(runs, name):
    return median(run[name] for run in runs)


def milli(runs):
    return "%.3f" % (1000 * middle(runs, "wall_s"))


def write(out, quick, to_page):
    parts = []
    for title, body in sections(out, quick):
        parts.append(("### %s\n\n" % title if title else "") + body)
    text = "\n".join(parts)
    if to_page:
        with open(PAGE) as page:
            before, _, rest = page.read().partition(BEGIN)
        _, _, after = rest.partition(END)
        with open(PAGE, "w") as page:
            page.write(before + BEGIN + "\n\n" + text + "\n" + END + after)
    print(text)
    for figure in out["required"]:
        print("%s  %s: %s" % (figure.cells()[-1], figure.name, figure.cells()[2]))
