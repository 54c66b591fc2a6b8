#!/usr/bin/env bash
# One entry point for a newcomer and for CI.
#   ./project.sh demo    install what is missing, build, convert the bundled sample log with the checks and print their report
#   ./project.sh test    install what is missing, build, run every test
#   ./project.sh asan    the same tests in a build with AddressSanitizer and UBSan
#   ./project.sh bench   build and run the benchmarks (throughput against convbin and rnx2rtkp, cost of the checks)
#   ./project.sh fuzz [SECONDS]   build the libFuzzer targets with clang and run each
set -euo pipefail
cd "$(dirname "$0")"

JOBS=${JOBS:-$(nproc)}
PACKAGES=(g++ cmake make libgtest-dev libbenchmark-dev libxerces-c-dev rtklib python3 time)

install_packages() {
    local missing=()
    for p in "${PACKAGES[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    echo "Installing: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

configure_and_build() {   # folder, extra cmake arguments...
    local dir=$1; shift
    cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DUBLOX2TRV_WERROR=ON "$@" >/dev/null
    cmake --build "$dir" -j "$JOBS"
}

case "${1:-}" in
demo)
    install_packages
    configure_and_build build
    mkdir -p out
    # The main job: a conversion with the checks after it, ending with their report.
    build/bin/ublox2trv convert build/samples/default.ubx -o out/default.trv
    ;;
test)
    install_packages
    configure_and_build build
    (cd build && ctest --output-on-failure -j "$JOBS")
    ;;
asan)
    install_packages
    configure_and_build build-asan -DUBLOX2TRV_SANITIZE=ON -DUBLOX2TRV_BENCHMARKS=OFF
    (cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
        ctest --output-on-failure -j "$JOBS")
    ;;
bench)
    install_packages
    configure_and_build build -DCMAKE_BUILD_TYPE=Release
    build/bin/bench_conversion --benchmark_counters_tabular=true
    build/bin/bench_ephemeris
    build/bin/bench_positioning --benchmark_counters_tabular=true
    python3 bench/compare_convbin.py build
    python3 bench/compare_rnx2rtkp.py build --speed
    python3 bench/compare_checks.py build
    ;;
fuzz)
    install_packages clang libclang-rt-14-dev
    # Only the fuzz targets: they link the core statically.
    CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DUBLOX2TRV_FUZZ=ON \
        -DUBLOX2TRV_TESTS=OFF -DUBLOX2TRV_BENCHMARKS=OFF >/dev/null
    cmake --build build-fuzz -j "$JOBS" --target fuzz_decode_byte fuzz_trv_file fuzz_nav_assemblers fuzz_epp_file fuzz_antex fuzz_checks
    for target in build-fuzz/bin/fuzz_*; do
        name=$(basename "$target")
        mkdir -p "build-fuzz/corpus/$name"
        "$target" -max_total_time="${2:-60}" -print_final_stats=1 "build-fuzz/corpus/$name" "fuzz/corpus/$name"
    done
    ;;
*)
    sed -n '2,8p' "$0"
    exit 2
    ;;
esac
