#!/usr/bin/env python3
"""A model of how a distributed transform of N x N x N complex numbers scales with nodes.

usage: scaling.py [N [NANOSECONDS [BANDWIDTH [LATENCY]]]]

NANOSECONDS: of one node for each point of its share, all three dimensions. BANDWIDTH: GB/s that a
node sends in an exchange of all with all. LATENCY: microseconds of a message. Prints a table in
Markdown: milliseconds for slabs (one exchange among P nodes, P up to N) and pencils (two among the
square root of P), and the parts of the better one.
"""

import math
import sys


def times(n, nodes, nanoseconds, bandwidth, latency):
    points = n ** 3 / nodes
    compute = points * nanoseconds * 1e-9
    moved = 16 * points / (bandwidth * 1e9)

    def exchange(partners):
        return moved * (partners - 1) / partners + (partners - 1) * latency * 1e-6

    slab = exchange(nodes) if nodes <= n else math.inf
    pencil = 2 * exchange(math.sqrt(nodes))
    return compute, slab, pencil


def main(arguments):
    n = int(arguments[0]) if arguments else 512
    nanoseconds, bandwidth, latency = (list(map(float, arguments[1:])) + [0.26, 8.75, 2.0][len(
        arguments[1:]):])
    print("| nodes | slabs | pencils | computing | exchanging | times faster than 1 node |")
    print("|---|---|---|---|---|---|")
    alone = sum(times(n, 1, nanoseconds, bandwidth, latency)[:2])
    for nodes in (1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 4096):
        compute, slab, pencil = times(n, nodes, nanoseconds, bandwidth, latency)
        best = min(slab, pencil)
        texts = [f"{1e3 * (compute + t):.2f} ms" if math.isfinite(t) else "" for t in (slab, pencil)]
        print(f"| {nodes} | {texts[0]} | {texts[1]} | {1e3 * compute:.2f} ms | {1e3 * best:.2f} ms | "
              f"{alone / (compute + best):.1f} |")


if __name__ == "__main__":
    main(sys.argv[1:])
