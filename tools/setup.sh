# Sourced by ./demo, ./check, bench/run and fuzz/run: installs what is missing and builds quietly. Needs $root, the tree's
# directory.

# What building takes, and what the programs need to run.
build_packages="cmake g++ ninja-build ccache mold pkg-config libwxgtk3.2-dev libtiff-dev zlib1g-dev
  libdeflate-dev libisal-dev gemmi-dev libcairo2-dev fonts-dejavu-core"

# What the tests need beyond that: frameworks, other people's readers, a virtual screen.
test_packages="libgtest-dev libgmock-dev libics-dev python3 python3-numpy python3-tifffile
  clang-format xvfb xauth x11-utils imagemagick git"

# What the fuzzers need beyond what building takes.
fuzz_packages="clang libclang-rt-14-dev"

# What the benchmarks need beyond all that.
bench_packages="libics-dev libopencv-core-dev libopencv-imgproc-dev libfftw3-dev"

# Options of the configure step, beyond the preset's. An earlier bench/run must not leave its needs to the others.
configure_options=-DVELM_BUILD_BENCHMARKS=OFF

say() {
  printf '%s\n' "$*" >&2
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# require <package>...: installs those that are missing; no call of apt when none is.
require() {
  missing=""
  for package in "$@"; do
    status=$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null || true)
    case $status in
      ii*) ;;
      *) missing="$missing $package" ;;
    esac
  done
  [ -n "$missing" ] || return 0
  say "Installing$missing ..."
  log=$(mktemp)
  if ! { as_root apt-get -qq update &&
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install $missing; } \
    >"$log" 2>&1 </dev/null; then
    tail -n 20 "$log" >&2
    say "The packages could not be installed."
    exit 1
  fi
  rm -f "$log"
}

# build <preset> [<target>...]: configures and builds, with one line per tenth of the way.
build() {
  preset=$1
  shift
  mkdir -p "$root/build"
  log=$root/build/$preset.log
  say "Building ($preset) ..."
  if ! (cd "$root" && cmake --preset "$preset" $configure_options) >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    exit 1
  fi
  : >"$log.failed"
  {
    (cd "$root" && NINJA_STATUS='%p ' cmake --build --preset "$preset" ${1:+--target "$@"} 2>&1) &&
      rm -f "$log.failed"
  } | tee "$log" | {
    last=0
    while read -r percent _; do
      case $percent in
        [0-9]*%)
          tenth=$((${percent%\%} / 10))
          if [ "$tenth" -gt "$last" ]; then
            last=$tenth
            say "  ${tenth}0 %"
          fi
          ;;
      esac
    done
  }
  if [ -e "$log.failed" ]; then
    rm -f "$log.failed"
    grep -A 15 -E '^FAILED|error:|^CMake Error' "$log" | head -n 60 >&2
    say "The build failed; all of its output is in $log"
    exit 1
  fi
}
