"""Pillow: Image.resize with LANCZOS, BILINEAR (W5, triangle) and BICUBIC (W3). Single-threaded; the fastest of the runs is printed.

The image is painted exactly as peer_common.h paints it (through numpy-free Python it would take
minutes, so the C++ helper writes it once: `pillow_paint W > file`)."""
import os
import subprocess
import sys
import time

from PIL import Image

RUNS = [("W1", "lanczos", Image.LANCZOS), ("W2", "lanczos", Image.LANCZOS),
        ("W3", "bicubic", Image.BICUBIC), ("W4", "lanczos", Image.LANCZOS),
        ("W5", "bilinear", Image.BILINEAR)]
SIZES = {"W1": (4, 6000, 4000, 1500, 1000), "W2": (4, 6000, 4000, 600, 400),
         "W3": (3, 1000, 667, 3000, 2000), "W4": (1, 6000, 4000, 1500, 1000),
         "W5": (3, 6000, 4000, 3000, 2000)}


def main():
    painter = sys.argv[1]
    only = sys.argv[2] if len(sys.argv) > 2 else None
    for wid, variant, method in RUNS:
        if only and only != wid:
            continue
        ch, sw, sh, dw, dh = SIZES[wid]
        data = subprocess.run([painter, wid], check=True, capture_output=True).stdout
        mode = {4: "RGBA", 3: "RGB", 1: "L"}[ch]
        image = Image.frombytes(mode, (sw, sh), data)
        image.resize((dw, dh), method)
        wall, cpu = [], []
        for _ in range(int(os.environ.get("PEER_RUNS", "9"))):
            w0, c0 = time.perf_counter(), time.process_time()
            image.resize((dw, dh), method)
            wall.append((time.perf_counter() - w0) * 1e3)
            cpu.append((time.process_time() - c0) * 1e3)
        print(f"Pillow {wid} {variant} 1 {min(wall):.2f} {min(cpu):.2f}",
              flush=True)


if __name__ == "__main__":
    main()
