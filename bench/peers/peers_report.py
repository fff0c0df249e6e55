"""Prints our times, the peers' times and the ratios, from one run of run_peers.sh.

Times are the fastest of the rounds in ms: wall time, and the CPU time of the whole process (all
threads)."""
import json
import sys

# Which peer runs do the same work as each of our workloads.
LIKE = {
    "W1": [("libvips", "lanczos3"), ("ImageMagick", "lanczos"), ("Pillow", "lanczos")],
    "W2": [("libvips", "lanczos3"), ("ImageMagick", "lanczos"), ("Pillow", "lanczos")],
    "W3 Mitchell": [("stb", "mitchell"), ("ImageMagick", "mitchell"), ("Pillow", "bicubic")],
    "W3 Poly3": [("OpenCV", "cubic"), ("Pillow", "bicubic")],
    "W4": [("libvips", "lanczos3"), ("ImageMagick", "lanczos"), ("Pillow", "lanczos")],
    "W5": [("libvips", "linear"), ("ImageMagick", "triangle"), ("stb", "triangle"),
           ("Pillow", "bilinear")],
}


def keep_fastest(times, key, wall, cpu):
    if key not in times or wall < times[key][0]:
        times[key] = (wall, cpu)


def ours(paths):
    times = {}
    for path in paths:
        for b in json.load(open(path))["benchmarks"]:
            name = b["run_name"].split("/")
            if not name[0].startswith("W") or b.get("run_type") == "aggregate":
                continue
            workload = name[0].split("_")[0]
            if workload == "W3":
                workload += " " + name[0].split("_")[-1]
            keep_fastest(times, (workload, int(name[1])), b["real_time"], b["cpu_time"])
    return times


def peers(path):
    times = {}
    for line in open(path):
        peer, workload, variant, threads, wall, cpu = line.split()
        keep_fastest(times, (peer, workload, variant, int(threads)), float(wall), float(cpu))
    return times


# Our time over the best like-for-like peer's with the same number of threads (a peer that runs
# on one thread only counts with its one-thread time) must stay within these.
BOUND = {1: 0.7, 2: 0.5}


def main():
    them, us = peers(sys.argv[1]), ours(sys.argv[2:])
    print(f"{'workload':12} {'who':24} {'1 thr wall/cpu':>18} {'2 thr wall/cpu':>18}")
    for workload, like in LIKE.items():
        if (workload, 1) not in us:
            continue

        def cell(t):
            return f"{t[0]:8.1f}/{t[1]:7.1f}" if t else f"{'-':>16}"

        print(f"{workload:12} {'ours':24} {cell(us.get((workload, 1))):>18} "
              f"{cell(us.get((workload, 2))):>18}")
        best = {}
        for peer, variant in like:
            key = workload.split()[0]
            one, two = them.get((peer, key, variant, 1)), them.get((peer, key, variant, 2))
            if not one and not two:
                continue
            print(f"{'':12} {peer + ' ' + variant:24} {cell(one):>18} {cell(two):>18}")
            for threads, t in ((1, one), (2, two or one)):
                if t and (threads not in best or t[0] < best[threads][0]):
                    best[threads] = (t[0], peer)
        for threads, (fastest, peer) in sorted(best.items()):
            if (workload, threads) not in us:
                continue
            ratio = us[(workload, threads)][0] / fastest
            verdict = "meets" if ratio <= BOUND[threads] else "misses"
            print(f"{'':12} {threads} thread(s): ours / {peer} = {ratio:.2f} "
                  f"({verdict} {BOUND[threads]})")


if __name__ == "__main__":
    main()
