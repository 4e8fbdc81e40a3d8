# What the tests of the installation are made with. ctest sets SOURCE, BUILD, SCRATCH, LIBDIR and VERSION.
set -euo pipefail
own=$LIBDIR/deskreader   # below a prefix

fail() { echo "not so: $*" >&2; exit 1; }

expect_equal() { diff <(echo "$2") <(echo "$3") || fail "$1 (expected <, found >)"; }

# An empty directory for this test alone.
fresh() { rm -rf "${SCRATCH:?}/$1" && mkdir -p "$SCRATCH/$1" && cd "$SCRATCH/$1"; }

# Builds the host from what pkg-config says; its arguments go to pkg-config.
build_by_pkg_config() {
  local flags
  flags=$(pkg-config "$@" --cflags --libs deskreader)
  # shellcheck disable=SC2086
  gcc -Wall -Wextra -Werror "$SOURCE/tests/install/host.c" -o host $flags
}

# Builds the host as a CMake project that finds the library below a prefix.
build_by_find_package() {
  cmake -G Ninja -S "$SOURCE/tests/install/consumer" -B consumer -DCMAKE_PREFIX_PATH="$1" \
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF --log-level=WARNING >/dev/null
  cmake --build consumer >/dev/null
  cp consumer/host host
}

# Runs the host in a directory where nothing lies, with the library from the directory $1.
run_host() {
  local host=$PWD/host before
  before=$(cat "$1/config.ini")
  (mkdir -p empty && cd empty && env -u LD_LIBRARY_PATH ${2:+"$2"} timeout 20 "$host" "$1")
  grep -qz 'Error(.*):a first program' "$1"/log/sd_*.log || fail "the log lies beside the library"
  expect_equal "config.ini keeps its text" "$before" "$(cat "$1/config.ini")"
}

# Unpacks packages into the directory tree $1.
unpack() {
  local tree=$1 package
  shift
  for package in "$@"; do
    dpkg-deb --extract "$SCRATCH/packages/${package}_$VERSION-1_$(dpkg --print-architecture).deb" "$tree"
  done
}
