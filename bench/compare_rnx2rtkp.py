#!/usr/bin/env python3
"""Single point positions of ublox2trv against RTKLIB's rnx2rtkp, epoch by epoch.

For every real log beside the project that holds ephemerides, the log is
converted by ublox2trv (raw data and .epp) and by convbin (RINEX observation
and navigation), solved by 'ublox2trv position' and by 'rnx2rtkp -p 0' with
the same elevation mask, broadcast ionosphere and Saastamoinen troposphere,
once with GPS alone and once with every constellation. Epochs are matched by
time, and the horizontal and vertical differences are summarised. With
--speed it also times both programs on the same epochs. Usage:
    bench/compare_rnx2rtkp.py BUILD_DIR [--mask DEG] [--tgd] [--speed] [LOG...]
--tgd has ublox2trv correct GPS ranges by the broadcast group delay, as
rnx2rtkp does; without it the satellite clocks leave the group delay out.
"""
import math
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SHARED_UBX = ROOT.parent / "shared" / "data" / "ubx"
METRES_PER_DEGREE = 111319.49079327357
# rnx2rtkp's navigation system bits: G 1, R 4, E 8, J 16, C 32.
RTKLIB_SYSTEMS = {"G": 1, "GREJC": 1 + 4 + 8 + 16 + 32}
MATCH_TOLERANCE = 0.02   # seconds; the two sides stamp an epoch with or without the clock


def rtklib_config(path, mask, systems):
    path.write_text("\n".join([
        "pos1-posmode=single", f"pos1-elmask={mask}", "pos1-ionoopt=brdc", "pos1-tropopt=saas",
        f"pos1-navsys={RTKLIB_SYSTEMS[systems]}", "pos1-exclsats=", "out-solformat=llh",
        "out-timesys=gpst", "out-timeform=tow", "out-timendec=3", "out-outhead=off",
    ]) + "\n")


def read_positions(path):
    """Week and seconds to latitude, longitude and height, from the lines of
    either program that are not '%' comments: both put them first."""
    rows = {}
    for line in path.read_text().splitlines():
        if line.startswith("%") or not line.strip():
            continue
        f = line.split()
        rows[(int(f[0]), float(f[1]))] = (float(f[2]), float(f[3]), float(f[4]))
    return rows


def match(ours, theirs):
    """Pairs of positions of the same epoch; rnx2rtkp stamps the solution at
    the receiver time less the receiver clock, the raw file at receiver time."""
    by_week = {}
    for (week, tow), pos in theirs.items():
        by_week.setdefault(week, []).append((tow, pos))
    for rows in by_week.values():
        rows.sort()
    pairs = []
    for (week, tow), pos in ours.items():
        rows = by_week.get(week, [])
        lo, hi = 0, len(rows)
        while lo < hi:
            mid = (lo + hi) // 2
            if rows[mid][0] < tow:
                lo = mid + 1
            else:
                hi = mid
        best = None
        for k in (lo - 1, lo):
            if 0 <= k < len(rows) and abs(rows[k][0] - tow) <= MATCH_TOLERANCE:
                if best is None or abs(rows[k][0] - tow) < abs(best[0] - tow):
                    best = rows[k]
        if best is not None:
            pairs.append((pos, best[1]))
    return pairs


def differences(pairs):
    horizontal, vertical = [], []
    for (lat, lon, h), (lat2, lon2, h2) in pairs:
        north = (lat - lat2) * METRES_PER_DEGREE
        east = (lon - lon2) * METRES_PER_DEGREE * math.cos(math.radians(lat))
        horizontal.append(math.hypot(north, east))
        vertical.append(abs(h - h2))
    return horizontal, vertical


def percentile(values, p):
    values = sorted(values)
    return values[min(len(values) - 1, int(round(p / 100.0 * (len(values) - 1))))]


def has_ephemerides(epp):
    return epp.exists() and any(w in epp.read_text(errors="replace") for w in ("GpsEph", "GloEph", "GalEph", "BdsEph"))


def timed(argv):
    start = time.perf_counter()
    subprocess.run(argv, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - start


def main():
    args = sys.argv[1:]
    if not args or args[0] in ("-h", "--help"):
        print(__doc__)
        return 2
    cli = Path(args[0]).resolve() / "bin" / "ublox2trv"
    mask = float(args[args.index("--mask") + 1]) if "--mask" in args else 15.0
    speed = "--speed" in args
    extra = ["--tgd"] if "--tgd" in args else []
    logs = [Path(a) for a in args[1:] if a.endswith(".ubx")]
    if not logs:
        if not SHARED_UBX.is_dir():
            print(f"skipped: {SHARED_UBX} is absent")
            return 0
        logs = sorted(SHARED_UBX.glob("*.ubx"))

    print(f"{'log':44} {'sys':5} {'ours':>6} {'rtklib':>6} {'both':>6} {'H med':>7} {'H p95':>7}"
          f" {'V med':>7} {'V p95':>7}")
    with tempfile.TemporaryDirectory() as tmp:
        tmp = Path(tmp)
        for log in logs:
            trv = tmp / (log.stem + ".trv")
            subprocess.run([cli, "convert", log, "-o", trv, "--no-checks"], check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            if not has_ephemerides(trv.with_suffix(".epp")):
                print(f"{log.name:44} no ephemerides in the log")
                continue
            obs, nav = tmp / (log.stem + ".obs"), tmp / (log.stem + ".nav")
            subprocess.run(["convbin", "-r", "ubx", "-v", "3.04", "-od", "-os", "-o", obs, "-n", nav, log],
                           check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for systems in ("G", "GREJC"):
                ours_pos = tmp / f"{log.stem}.{systems}.pos"
                theirs_pos = tmp / f"{log.stem}.{systems}.rtk"
                conf = tmp / f"{systems}.conf"
                rtklib_config(conf, mask, systems)
                ours_argv = [cli, "position", trv, "--systems", systems, "--mask", str(mask), "--iono",
                             "-o", ours_pos, *extra]
                theirs_argv = ["rnx2rtkp", "-k", conf, "-o", theirs_pos, obs, nav]
                ours_time = timed(ours_argv) if speed else subprocess.run(
                    ours_argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode
                theirs_time = timed(theirs_argv) if speed else subprocess.run(
                    theirs_argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode
                ours = read_positions(ours_pos) if ours_pos.exists() else {}
                theirs = read_positions(theirs_pos) if theirs_pos.exists() else {}
                pairs = match(ours, theirs)
                line = f"{log.name:44} {systems:5} {len(ours):6} {len(theirs):6} {len(pairs):6}"
                if pairs:
                    h, v = differences(pairs)
                    line += (f" {statistics.median(h):7.2f} {percentile(h, 95):7.2f}"
                             f" {statistics.median(v):7.2f} {percentile(v, 95):7.2f}")
                if speed:
                    line += (f"   ours {len(ours) / ours_time:9.0f} ep/s, rnx2rtkp {len(theirs) / theirs_time:7.0f}"
                             f" ep/s")
                print(line, flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
