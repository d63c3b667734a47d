# Shared by the scripts beside it: installing what is missing, configuring, building.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)

build_packages=(g++ cmake ninja-build pkg-config libusb-1.0-0-dev liblog4cpp5-dev libpugixml-dev libcfitsio-dev
                libpng-dev libsep-dev libcli11-dev nlohmann-json3-dev libmicrohttpd-dev libturbojpeg0-dev)
test_packages=(locales libgtest-dev libgmock-dev python3 python3-numpy python3-astropy procps libumockdev-dev umockdev
               usbutils python3-pil libusbredirparser-dev libindi-dev indi-bin pybind11-dev python3-dev python3-pytest
               python3-matplotlib mypy curl python3-yaml)
fuzz_packages=(clang-14 llvm-14 libclang-rt-14-dev)
ekos_packages=(kstars kstars-data indi-bin xvfb dbus-daemon qdbus-qt5 imagemagick sqlite3 xdotool)
guest_packages=(qemu-system-x86 libusbredirparser-dev busybox-static cpio)
cross_packages=(g++-aarch64-linux-gnu g++-s390x-linux-gnu qemu-user-static)
browser_packages=(chromium chromium-driver python3-selenium python3-pil)
bench_packages=(libbenchmark-dev)
bench_optional_packages=(libopencv-imgproc-dev python3 python3-matplotlib)
package_packages=(build-essential debhelper dpkg-dev fakeroot libumockdev-dev umockdev libusbredirparser-dev pandoc
                  libindi-dev libmicrohttpd-dev libturbojpeg0-dev pybind11-dev python3-dev python3-numpy dh-python)
package_test_packages=(lintian mmdebstrap)

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
fail() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# For a step that others may go without: says why it is left out, and ends the script.
skip() { printf '%s: skipped: %s\n' "$(basename "$0")" "$*"; exit 0; }

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'ok installed'; }

# Installs those of the named Debian packages that are missing; says which and why when it cannot.
install_missing() {
  command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
    fail "this is not a Debian system: install the equivalents of these packages yourself: $*"
  local missing=() package
  for package in "$@"; do installed "$package" || missing+=("$package"); done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null ||
      fail "these packages are missing and neither root nor sudo is at hand: run as root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  say "Installing ${missing[*]}"
  local log
  log=$(mktemp)
  "${as_root[@]}" apt-get update -qq >"$log" 2>&1 ||
    { tail -n 5 "$log" >&2; fail "apt-get update failed (no network, or no package source?): needed are ${missing[*]}"; }
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >"$log" 2>&1 ||
    { tail -n 5 "$log" >&2; fail "apt-get could not install ${missing[*]} (its last lines stand above)"; }
  rm -f "$log"
}

# The same for a step that others may go without: it is left out when they cannot be installed.
install_or_skip() { (install_missing "$@") || skip "a package that it needs cannot be installed (see above)"; }

# configure_and_build PRESET [cmake -D options...] -- [targets...]
configure_and_build() {
  local preset=$1 options=() log
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
  [ $# -gt 0 ] && shift
  say "Building ($preset)"
  log=$(mktemp)
  (cd "$root" && cmake --preset "$preset" "${options[@]}") >"$log" 2>&1 ||
    { cat "$log" >&2; fail "cmake could not configure the $preset build (its output stands above)"; }
  rm -f "$log"
  # An earlier build with other targets may exist: ninja builds what is named, or everything.
  cmake --build "$root/build/$preset" --parallel "$jobs" ${1:+--target "$@"} ||
    fail "the $preset build failed (the compiler's words stand above)"
}

# What no second run makes good: a finding of a sanitizer.
sanitizer_words='(Address|Leak|Thread|UndefinedBehavior)Sanitizer|runtime error:'

# run_tests PRESET [ctest options...]: runs the tests and counts those that were skipped. Most wait more than they
# compute, so there are more at a time than processors (ORQ_TEST_JOBS: how many). Where few fail, and none of them
# crashed, those run once more, one at a time: a test of times may meet a machine that is busy with something else.
# They are named all the same.
run_tests() {
  local preset=$1 log failed crashed
  shift
  say "Testing ($preset)"
  log=$(mktemp)
  some_tests "$preset" "$log" --parallel "${ORQ_TEST_JOBS:-$((2 * jobs))}" --progress "$@" && { rm -f "$log"; return; }
  failed=$(sed -n '/^The following tests FAILED:/,/^Errors while/s/^[[:space:]]*[0-9]* - //p' "$log")
  crashed=$(grep -vE '\((Failed|Timeout)\)[^()]*$' <<<"$failed" || true)
  failed=$(grep -c . <<<"$failed" || true)
  if [ "$failed" -eq 0 ] || [ "$failed" -gt 3 ] || [ -n "$crashed" ] || grep -qE "$sanitizer_words" "$log"; then
    rm -f "$log"
    return 1
  fi
  say "Once more, one at a time: the $failed that failed"
  some_tests "$preset" "$log" --rerun-failed || { rm -f "$log"; return 1; }
  say "$failed of the $preset tests passed only when they ran alone (see above)"
  rm -f "$log"
}

# some_tests PRESET LOG [ctest options...]
some_tests() {
  local preset=$1 log=$2
  shift 2
  ctest --test-dir "$root/build/$preset" --output-on-failure "$@" 2>&1 |
    tee "$log" | grep -vE '^\[[0-9]+/[0-9]+\]|^ *Start|Passed +[0-9.]+ sec$' || true
  printf 'skipped tests: %s\n' "$(grep -cE '^\s+[0-9]+ - .*\(Skipped\)' "$log" || true)"
  grep -qE '^100% tests passed' "$log"
}
