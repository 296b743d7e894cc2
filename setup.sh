#!/usr/bin/env bash
# wsbridge quick start.
#   ./setup.sh demo      install, build, start a demo device behind nginx, answer a sample call
#   ./setup.sh test      install, build and run every test
#   ./setup.sh sanitize  build with AddressSanitizer/UBSan and run the tests
#   ./setup.sh coverage  build with gcov, run the tests, print line coverage (gcovr)
#   ./setup.sh stop      stop what "demo" started
set -euo pipefail
cd "$(dirname "$0")"
TOP=$PWD

DEPS=(build-essential cmake pkg-config gsoap libgsoap-dev libfcgi-dev libboost-regex-dev
      libsqlite3-dev libexpat1-dev sqlite3 nginx python3-zeep python3-pytest googletest libgtest-dev
      libgmock-dev libbenchmark-dev clang libclang-rt-14-dev curl openssl
      libuchardet-dev libpugixml-dev libjsoncpp-dev gcovr clang-format python3-suds libsoap-lite-perl)

install_deps() {
    local missing=()
    for p in "${DEPS[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "== installing: ${missing[*]}"
    local sudo=""; [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}

build() {  # build DIR [cmake options...]
    local dir=$1; shift
    # Status lines are left out; warnings and configure errors are shown.
    # WSB_WERROR=ON in the environment turns warnings into errors (CI).
    cmake --log-level=WARNING -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
          -DWSB_WERROR="${WSB_WERROR:-OFF}" "$@"
    cmake --build "$dir" -j"$(nproc)"
}

case "${1:-}" in
    demo)
        install_deps
        build build
        exec deploy/demo/run-demo.sh "$TOP/build"
        ;;
    test)
        install_deps
        build build
        # Tests labelled "slow" (real-clock waits of minutes) and the fuzzing
        # bounded by time ("fuzz-timed") run on request:
        #   ctest --test-dir build -L slow
        ctest --test-dir build --output-on-failure -j"$(nproc)" -LE 'slow|fuzz-timed'
        ;;
    sanitize)
        install_deps
        build build-asan -DWSB_SANITIZE=ON -DWSB_BUILD_BENCH=OFF
        WSB_SANITIZED=1 ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
            ctest --test-dir build-asan --output-on-failure -j"$(nproc)" -LE 'slow|fuzz-timed'
        ;;
    coverage)
        install_deps
        build build-cov -DWSB_COVERAGE=ON -DWSB_BUILD_BENCH=OFF
        find build-cov -name '*.gcda' -delete
        ctest --test-dir build-cov -j"$(nproc)" -LE 'slow|fuzz' >/dev/null || true
        # The gateway's own code: the host, the services, the crash reporter
        # and the platform substitute (generated code and tests excluded).
        # (gcovr replaces its output file: never point -o at a device.)
        gcovr -r . build-cov --filter 'common/source/' --filter 'source/' \
              --filter 'platform/' --print-summary | tail -n 3
        ;;
    stop)
        exec deploy/demo/run-demo.sh --stop
        ;;
    *)
        sed -n '2,7p' "$0" | sed 's/^# \{0,1\}//'
        exit 2
        ;;
esac
