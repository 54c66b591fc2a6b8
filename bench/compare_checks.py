#!/usr/bin/env python3
"""What the checks after a conversion cost, beside the conversion alone.

Converts the 61-minute base log beside the project and a generated 8-hour
log twice each with the command line: once with --no-checks and once with
the checks (which also print their report), taking the best of a few runs,
and prints both times and their ratio side by side. The target: the checks
add at most twice the conversion's time, so that with checks a run takes at
most three times the conversion alone. Usage:
    bench/compare_checks.py BUILD_DIR [--runs N] [LOG...]
"""
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BASE_LOG = ROOT.parent / "shared" / "data" / "ubx" / "m8p_base_1hz_gps_glo_61min.ubx"
EIGHT_HOURS = 8 * 3600
TARGET_RATIO = 3.0


def best_time(command, runs):
    best = None
    for _ in range(runs):
        start = time.perf_counter()
        result = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        elapsed = time.perf_counter() - start
        if result.returncode not in (0, 1):
            sys.exit(f"{' '.join(map(str, command))} failed with {result.returncode}")
        best = elapsed if best is None else min(best, elapsed)
    return best


def main():
    args = sys.argv[1:]
    if not args:
        sys.exit(__doc__)
    build = Path(args.pop(0))
    runs = 3
    if "--runs" in args:
        i = args.index("--runs")
        runs = int(args[i + 1])
        del args[i:i + 2]
    tool = build / "bin" / "ublox2trv"
    with tempfile.TemporaryDirectory() as folder:
        work = Path(folder)
        logs = [Path(a) for a in args]
        if not logs:
            if BASE_LOG.exists():
                logs.append(BASE_LOG)
            else:
                print(f"{BASE_LOG} is absent: only the generated log is timed")
            generated = work / "eight_hours.ubx"
            subprocess.run([tool, "simulate", "-o", generated, "--duration", str(EIGHT_HOURS)], check=True,
                           stdout=subprocess.DEVNULL)
            logs.append(generated)
        print(f"{'log':44} {'epochs':>7} {'convert s':>10} {'+checks s':>10} {'ratio':>6}  target <= {TARGET_RATIO}")
        for log in logs:
            out = work / (log.stem + ".trv")
            alone = best_time([tool, "convert", log, "-o", out, "--no-checks"], runs)
            checked = best_time([tool, "convert", log, "-o", out], runs)
            info = subprocess.run([tool, "info", out], capture_output=True, text=True).stdout
            epochs = next((line.split()[-1] for line in info.splitlines() if "read through" in line), "?")
            ratio = checked / alone
            verdict = "met" if ratio <= TARGET_RATIO else "MISSED"
            print(f"{log.name:44} {epochs:>7} {alone:10.2f} {checked:10.2f} {ratio:6.2f}  {verdict}")


if __name__ == "__main__":
    main()
