#!/usr/bin/env python3
"""Side-by-side conversion throughput: ublox2trv against RTKLIB's convbin.

Runs both programs on the same logs (every real log beside the project, and
generated logs of two lengths), takes the best of several runs, and prints
MB/s of input and peak resident memory for each. Usage:
    bench/compare_convbin.py BUILD_DIR [--runs N]
"""
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SHARED_UBX = ROOT.parent / "shared" / "data" / "ubx"


def run(argv, cwd):
    """Wall time and peak RSS (kB) of one run. GNU time measures the peak,
    since a child forked from Python would inherit Python's own."""
    start = time.perf_counter()
    result = subprocess.run(["/usr/bin/time", "-f", "%M", *map(str, argv)], cwd=cwd,
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    elapsed = time.perf_counter() - start
    if result.returncode != 0:
        raise RuntimeError(f"{argv[0]} failed: {result.stderr[-500:]}")
    return elapsed, int(result.stderr.strip().splitlines()[-1])


def best(argv, cwd, runs):
    times, peaks = zip(*(run(argv, cwd) for _ in range(runs)))
    return min(times), max(peaks)


def main():
    if len(sys.argv) < 2:
        print(__doc__)
        return 2
    build = Path(sys.argv[1]).resolve()
    runs = int(sys.argv[sys.argv.index("--runs") + 1]) if "--runs" in sys.argv else 3
    cli = build / "bin" / "ublox2trv"
    with tempfile.TemporaryDirectory() as tmp:
        tmp = Path(tmp)
        logs = sorted(SHARED_UBX.glob("*.ubx")) if SHARED_UBX.is_dir() else []
        for epochs in (3600, 28800):
            path = tmp / f"generated_{epochs}.ubx"
            subprocess.run([cli, "simulate", "-o", path, "--duration", str(epochs), "--clutter"], check=True,
                           stdout=subprocess.DEVNULL)
            logs.append(path)

        print(f"{'log':48} {'MB':>7} {'ublox2trv MB/s':>15} {'convbin MB/s':>13} {'ratio':>6}"
              f" {'peak kB (ours)':>15} {'peak kB (convbin)':>18}")
        total_ours = total_theirs = total_mb = 0.0
        for log in logs:
            mb = log.stat().st_size / 1e6
            ours, our_peak = best([cli, "convert", log, "-o", tmp / "out.trv", "--no-checks"], tmp, runs)
            theirs, their_peak = best(["convbin", "-r", "ubx", "-v", "3.04", "-od", "-os",
                                       "-o", tmp / "out.obs", "-n", tmp / "out.nav", log], tmp, runs)
            total_ours += ours
            total_theirs += theirs
            total_mb += mb
            print(f"{log.name:48} {mb:7.2f} {mb / ours:15.1f} {mb / theirs:13.1f} {theirs / ours:6.1f}"
                  f" {our_peak:15d} {their_peak:18d}")
        print(f"{'all logs':48} {total_mb:7.2f} {total_mb / total_ours:15.1f} {total_mb / total_theirs:13.1f}"
              f" {total_theirs / total_ours:6.1f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
