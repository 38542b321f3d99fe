#!/usr/bin/env python3
"""Puts measured figures into docs/performance.md and draws a plot of each table.

    bench_report.py FOLDER    FOLDER holds NAME.tsv of each benchmark program that was run

A table of the page stands between "<!-- table: NAME -->" and "<!-- end -->", and is replaced with its
plot docs/plots/NAME.svg; all that is written around the tables by hand stays. A table that has no place
yet comes to the end of the page.
"""
import datetime
import html
import math
import os
import pathlib
import re
import subprocess
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
PAGE = DOCS / "performance.md"
PACKAGES = ("libbenchmark-dev libspdlog-dev libasio-dev libboost-dev libpugixml-dev libtinyxml2-dev libxml2-dev "
            "libbotan-2-dev libcrypto++-dev libssl-dev libspandsp-dev").split()
# What the benchmarks' short names of peers stand for.
PEERS = {"std": "C++ library", "libc": "C library", "Libc": "C library", "steady": "steady_clock",
         "RbTree": "rbtree_best_fit", "SeqFit": "simple_seq_fit", "BoostRegistry": "Boost.Interprocess",
         "AsioExchange": "Asio", "asio": "Asio", "RawExchange": "send and recv", "LoopExchange": "send and recv",
         "RawUdp": "UDP socket", "raw": "plain calls", "list": "mutex and list", "deque": "mutex and deque",
         "openssl": "OpenSSL", "botan": "Botan", "cryptopp": "Crypto++", "beast": "Boost.Beast",
         "matchLibc": "fnmatch", "CountedCondition": "condition_variable"}


def peer_name(benchmark):
    """BM_Parse_pugixml/2 -> pugixml, BM_Lock<std::mutex> -> std::mutex, BM_Drain/64 -> ours at 64,
    matchLibc/all -> fnmatch, "hex encode, 64 B/OpenSSL" -> OpenSSL
    """
    text = re.sub(r"/(iterations|threads|repeats|min_time):\d+|/(process|real|manual)_time", "", benchmark)
    if not text.startswith("BM_"):
        head, _, last = text.rpartition("/")
        return PEERS.get(head) or PEERS.get(last, last)
    found = re.match(r"BM_[^_/<]+_([^/<]+)", text) or re.match(r"BM_[^_/<]+<([^>]+)>", text)
    if found:
        return PEERS.get(found[1], found[1])
    return "ours at " + text.partition("/")[2]


class Row:
    def __init__(self, line):
        fields = line.rstrip("\n").split("\t")
        self.title, self.ours, self.goal = fields[0], fields[1], float(fields[2])
        self.peers = [(peer_name(name), time, float(ratio))
                      for name, time, ratio in zip(fields[3::3], fields[4::3], fields[5::3])]
        self.ratio = self.peers[0][2]
        self.met = self.ratio >= self.goal

    @property
    def has_goal(self):
        """Goal 0: shown for comparison only."""
        return self.goal > 0


def markdown(text):
    return re.sub(r"([\\|*<`])", r"\\\1", text)


def number(value):
    return f"{value:.2f}" if value < 10 else f"{value:.0f}"


def table(name, rows):
    lines = [f"Measured on {datetime.date.today()} by `scripts/bench.sh {name}`: "
             f"{sum(row.met for row in rows if row.has_goal)} of {sum(row.has_goal for row in rows)} goals met.", "",
             "| figure | ours | best peer | ratio | goal | met |", "|---|---|---|---|---|---|"]
    for row in rows:
        peer, time, ratio = row.peers[0]
        goal = f"{row.goal:g} | {'yes' if row.met else '**no**'}" if row.has_goal else "none | "
        lines.append(f"| {markdown(row.title)} | {row.ours} | {time}, {markdown(peer)} | {number(ratio)} | {goal} |")
    return "\n".join(lines + ["", f"![Ratios of the table above, with their goals](plots/{name}.svg)"])


# Plain classes, no variables: every viewer of SVG knows them; one without media queries shows the light colours.
STYLE = """
  text { font: 12px system-ui, sans-serif; fill: #1f2328; }
  .paper { fill: #ffffff; } .grid { stroke: #d0d7de; } .one, .goal { stroke: #1f2328; }
  .met { fill: #0969da; stroke: #0969da; } .missed { fill: #bc4c00; stroke: #bc4c00; }
  @media (prefers-color-scheme: dark) {
    text { fill: #e6edf3; }
    .paper { fill: #0d1117; } .grid { stroke: #3d444d; } .one, .goal { stroke: #e6edf3; }
    .met { fill: #58a6ff; stroke: #58a6ff; } .missed { fill: #f0883e; stroke: #f0883e; }
  }
  .goal { stroke-width: 3; } .stem { stroke-width: 4; opacity: .45; } .other { fill: none; stroke-width: 1.5; }
""".rstrip()
ROW, TOP, AXIS, WIDTH = 22, 68, 380, 60


def ticks(low, high):
    values = [step * 10.0 ** power for power in range(-2, 4) for step in (1, 2, 5)]
    first = max([v for v in values if v <= low], default=values[0])
    last = min([v for v in values if v >= high], default=values[-1])
    return [v for v in values if first <= v <= last]


def plot(name, rows):
    every = [peer[2] for row in rows for peer in row.peers] + [row.goal for row in rows if row.has_goal] + [1]
    marks = ticks(min(every) * 0.97, max(every) * 1.03)
    left = max(20 + int(6.4 * max(len(row.title) for row in rows)), 120)
    width, bottom = left + AXIS + WIDTH, TOP + ROW * len(rows)

    def x(ratio):
        return round(left + AXIS * math.log(ratio / marks[0]) / math.log(marks[-1] / marks[0]), 1)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{bottom + 14}" '
           f'viewBox="0 0 {width} {bottom + 14}" role="img" aria-label="Speed of {name} against its peers">',
           f"<style>{STYLE}\n</style>", f'<rect class="paper" width="{width}" height="{bottom + 14}" rx="6"/>',
           f'<text x="12" y="20" font-weight="bold">{name}: times as fast as a peer '
           '(logarithmic)</text>',
           '<text x="12" y="38">dot: best peer (orange: goal missed), ring: other peers, upright bar: goal</text>']
    for mark in marks:
        out.append(f'<line class="{"one" if mark == 1 else "grid"}" x1="{x(mark)}" y1="{TOP - 4}" x2="{x(mark)}" '
                   f'y2="{bottom}"/><text x="{x(mark)}" y="{TOP - 9}" text-anchor="middle">{mark:g}</text>')
    for index, row in enumerate(rows):
        y, kind = TOP + ROW * index + ROW // 2, "met" if row.met else "missed"
        title = html.escape(row.title)
        peers = ", ".join(f"{peer} {time} ({number(ratio)})" for peer, time, ratio in row.peers)
        out.append(f"<g><title>{title}: ours {html.escape(row.ours)}, {html.escape(peers)}, goal {row.goal:g}</title>"
                   f'<text x="{left - 10}" y="{y + 4}" text-anchor="end">{title}</text>'
                   f'<line class="stem {kind}" x1="{x(1)}" y1="{y}" x2="{x(row.ratio)}" y2="{y}"/>')
        out += [f'<circle class="{kind} other" cx="{x(ratio)}" cy="{y}" r="4"/>' for _, _, ratio in row.peers[1:]]
        if row.has_goal:
            out.append(f'<line class="goal" x1="{x(row.goal)}" y1="{y - 7}" x2="{x(row.goal)}" y2="{y + 7}"/>')
        out.append(f'<circle class="{kind}" cx="{x(row.ratio)}" cy="{y}" r="4.5"/>'
                   f'<text x="{width - 10}" y="{y + 4}" text-anchor="end">{number(row.ratio)}</text></g>')
    return "\n".join(out + ["</svg>", ""])


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def machine():
    """What the figures depend on: processor, system, compiler and the peers' versions."""
    info = pathlib.Path("/proc/cpuinfo").read_text()
    found = [re.search(rf"^{key}\s*:\s*(.*)$", info, re.M) for key in ("model name", "cpu family", "model")]
    cpu = "{} (family {}, model {})".format(*(f[1] for f in found)) if all(found) else os.uname().machine
    compiler = output("c++", "--version").split("\n")[0]
    versions = output("dpkg-query", "-W", "-f", "${Package} ${Version}, ", *PACKAGES).rstrip(", ")
    return (f"{cpu}, {os.cpu_count()} processors; Linux {os.uname().release.split('-')[0]}; {compiler}, release build.\n\n"
            f"Peers: {versions}.")


def replace(page, mark, text):
    block = f"<!-- {mark} -->\n{text}\n<!-- end -->"
    pattern = re.compile(rf"<!-- {re.escape(mark)} -->\n.*?\n<!-- end -->", re.S)
    if pattern.search(page):
        return pattern.sub(lambda _: block, page, count=1)
    return f"{page.rstrip()}\n\n## {mark.removeprefix('table: ')}\n\n{block}\n"


def main(folder):
    page = PAGE.read_text()
    files = sorted(pathlib.Path(folder).glob("*.tsv"))
    (DOCS / "plots").mkdir(exist_ok=True)
    for file in files:
        rows = [Row(line) for line in file.read_text().splitlines()]
        if not rows:
            sys.exit(f"{file}: no figures")
        page = replace(page, f"table: {file.stem}", table(file.stem, rows))
        (DOCS / "plots" / f"{file.stem}.svg").write_text(plot(file.stem, rows))
    PAGE.write_text(replace(page, "machine", machine()))
    print(f"{len(files)} tables and plots written, {PAGE}")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
