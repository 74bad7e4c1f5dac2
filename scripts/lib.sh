# What the scripts share. Source it from the repository's scripts/ folder:
#   . "$(dirname "$0")/lib.sh"
# It sets `root` (the checkout) and `build` (where everything is built), and goes to root.

set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${QEL_BUILD_DIR:-$root/build}
cd "$root"
mkdir -p "$build"

# Says what is done, in one line.
step() { printf '\n== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# as_root COMMAND...: runs it as root, with sudo where the user is not root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "needs root or sudo for: $*"
  fi
}

# need_packages NAME...: installs those Debian packages that are missing. Elsewhere it says what is needed.
need_packages() {
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    printf 'This is not a Debian system. Needed, by their Debian names: %s\n' "$*" >&2
    return 0
  fi
  local missing=() name
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q 'ok installed' || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  step "installing ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

# What every native build needs, and its tests.
native_packages=(g++ cmake ninja-build ccache libtrio-dev libspdlog-dev libfmt-dev)
test_packages=(libgtest-dev libgmock-dev python3 telnet iproute2)

# Compiler output is kept between builds.
launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
export CCACHE_NOHASHDIR=1 CCACHE_BASEDIR=$root

# configure FOLDER [cmake arguments]: makes build/FOLDER ready.
configure() {
  local folder=$1
  shift
  step "configuring $folder"
  cmake -S "$root" -B "$build/$folder" -G Ninja "${launcher[@]}" "$@" >"$build/$folder.configure.log" 2>&1 || {
    cat "$build/$folder.configure.log" >&2
    die "configuring $folder failed"
  }
}

# compile FOLDER [target...]
compile() {
  local folder=$1
  shift
  step "building $folder"
  cmake --build "$build/$folder" ${1:+--target "$@"}
}

# run_tests FOLDER [ctest arguments]
run_tests() {
  local folder=$1
  shift
  step "testing $folder"
  ctest --test-dir "$build/$folder" --output-on-failure -j "$(nproc)" "$@"
}

# Assertions on, and little optimisation: a sanitizer doubles what a compiler works on. Warnings are the
# release build's affair; under a sanitizer the compiler sees faults that are not there.
sanitizer_build=(-DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" -DQEL_WERROR=OFF)

# The tests that run threads, under ThreadSanitizer, in build/thread.
build_threaded_tests() {
  configure thread "${sanitizer_build[@]}" -DQEL_SANITIZE=thread
  compile thread threaded_tests
}
