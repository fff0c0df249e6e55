"""Prints our times, the peers' times and the ratios, from one run of run_peers.sh.

Times are medians in ms: wall time, and the CPU time of the whole process (all threads)."""
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


def ours(path):
    times = {}
    for b in json.load(open(path))["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        name = b["run_name"].split("/")
        if not name[0].startswith("W"):
            continue
        workload = name[0].split("_")[0]
        if workload == "W3":
            workload += " " + name[0].split("_")[-1]
        threads = 1 if name[1] == "-1" else int(name[1])
        times[(workload, threads)] = (b["real_time"], b["cpu_time"])
    return times


def peers(path):
    times = {}
    for line in open(path):
        peer, workload, variant, threads, wall, cpu = line.split()
        times[(peer, workload, variant, int(threads))] = (float(wall), float(cpu))
    return times


def main():
    us, them = ours(sys.argv[1]), peers(sys.argv[2])
    print(f"{'workload':12} {'who':24} {'1 thr wall/cpu':>18} {'2 thr wall/cpu':>18}")
    for workload, like in LIKE.items():
        if (workload, 1) not in us:
            continue
        def cell(t):
            return f"{t[0]:8.1f}/{t[1]:7.1f}" if t else f"{'-':>16}"
        print(f"{workload:12} {'ours':24} {cell(us.get((workload, 1))):>18} "
              f"{cell(us.get((workload, 2))):>18}")
        best, pillow = None, None
        for peer, variant in like:
            key = workload.split()[0]
            one, two = them.get((peer, key, variant, 1)), them.get((peer, key, variant, 2))
            if not one and not two:
                continue
            print(f"{'':12} {peer + ' ' + variant:24} {cell(one):>18} {cell(two):>18}")
            fastest = min(t[0] for t in (one, two) if t)
            if peer == "Pillow":
                pillow = fastest
            elif best is None or fastest < best[0]:
                best = (fastest, peer)
        if best and (workload, 2) in us:
            print(f"{'':12} ScaleMT 2 threads / best like-for-like ({best[1]}): "
                  f"{us[(workload, 2)][0] / best[0]:.2f}")
        if pillow:
            print(f"{'':12} Scale 1 thread / Pillow: {us[(workload, 1)][0] / pillow:.2f}")


if __name__ == "__main__":
    main()
