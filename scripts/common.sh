# Shared by ./run, ./test and .ci/run: packages, configuring, building, saying what happens. To be sourced by bash.
# shellcheck shell=bash disable=SC2034
set -euo pipefail

CALLER=$PWD
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"

# What happens is told on descriptor 3: standard output, unless that belongs to the program that is run.
exec 3>&1
say() { printf '==> %s\n' "$*" >&3; }
die() {
  printf '%s: %s\n' "$(basename "$0")" "$1" >&2
  shift
  (($# == 0)) || printf '  %s\n' "$@" >&2
  exit "${DIE_STATUS:-1}"
}

# ---- packages -----------------------------------------------------------------------------------------------------------

# ./run and ./test share one build directory, so what configures it is the same for both.
readonly BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libicu-dev libffi-dev libsimdjson-dev libpugixml-dev libboost1.81-dev libgtest-dev)
readonly TEST_PACKAGES=(python3)
# Google Benchmark and the peers.
readonly BENCH_PACKAGES=(libbenchmark-dev nlohmann-json3-dev rapidjson-dev libboost-json1.81-dev qt6-base-dev librttr-dev libglib2.0-dev libpoco-dev python3)
# Installed along with what is missing, but never a reason to call apt-get: everything works without them.
readonly HANDY_PACKAGES=(ccache libglib2.0-dev)

# A tool that is on the path need not have come as a package.
command_of() {
  case $1 in
    g++ | cmake | pkg-config | python3 | gdb) echo "$1" ;;
    ninja-build) echo ninja ;;
    clang-14) echo clang++-14 ;;
    clang-format-14) echo clang-format-14 ;;
  esac
}

is_installed() {
  local tool
  tool=$(command_of "$1")
  [[ -n $tool ]] && command -v "$tool" >/dev/null && return 0
  [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# ensure_packages PACKAGE…: nothing is run when all are there.
ensure_packages() {
  local package missing=()
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    # Another distribution: its own packages may be there, and CMake will say which are not.
    foreign_packages="$*"
    return 0
  fi
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  ((${#missing[@]} == 0)) && return 0
  for package in "${HANDY_PACKAGES[@]}"; do
    is_installed "$package" || missing+=("$package")
  done

  local as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null ||
      die "these packages are missing, and without root or sudo they cannot be installed:" "${missing[*]}" \
        "As root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi

  say "Installing with apt-get, which may take a minute or two: ${missing[*]}"
  local log reachable=1
  log=$(mktemp)
  # Lists may never have been fetched (a fresh image), or be too old to name files that still exist.
  if ! apt_lists_name "${missing[@]}" || ! apt_install "$log" "${missing[@]}"; then
    say "Fetching the package lists"
    "${as_root[@]}" apt-get -q -o Acquire::Retries=3 update >"$log" 2>&1 || reachable=0
    if grep -q 'Failed to fetch' "$log"; then reachable=0; fi
    if ! apt_install "$log" "${missing[@]}"; then
      grep -E '^(W|E|Err)' "$log" | tail -5 >&2 || tail -5 "$log" >&2
      rm -f "$log"
      if ((!reachable)); then
        die "apt-get could not fetch its package lists. Is there a network connection?" "Needed: $*"
      fi
      die "apt-get could not install what is needed. The names are those of Debian 12; this is $(distribution)." \
        "Needed: $*"
    fi
  fi
  rm -f "$log"
}

apt_lists_name() { apt-cache show --no-all-versions "$@" >/dev/null 2>&1; }

apt_install() {
  local log=$1
  shift
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -q -y --no-install-recommends -o Acquire::Retries=3 -o DPkg::Lock::Timeout=120 install "$@" >"$log" 2>&1
}

distribution() {
  local PRETTY_NAME=""
  # shellcheck disable=SC1091
  [[ -r /etc/os-release ]] && . /etc/os-release
  echo "${PRETTY_NAME:-an unknown system}"
}

# ---- building -----------------------------------------------------------------------------------------------------------

# How many compilers to run at once. Bounded by memory too: an optimised unit may take a gigabyte.
job_count() {
  local cores gigabytes
  cores=$(nproc)
  gigabytes=$(awk '/^MemAvailable/ { print int($2 / 1048576) }' /proc/meminfo)
  if ((gigabytes >= cores)); then echo "$cores"; else echo $((gigabytes > 0 ? gigabytes : 1)); fi
}

# configure PRESET [ARGUMENT…]: nothing is run when the build directory is there; ninja looks after the rest by itself.
configure() {
  local preset=$1 directory=build/$1 log
  shift
  if [[ -f $directory/build.ninja && ! CMakePresets.json -nt $directory/build.ninja && $# == 0 ]]; then
    return 0
  fi
  say "Configuring $directory"
  log=$(mktemp)
  if ! cmake --preset "$preset" "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    if [[ -n ${foreign_packages:-} ]]; then
      die "configuring failed. This is $(distribution); on Debian 12 the following packages hold what is needed," \
        "and other distributions have the same libraries under similar names:" "$foreign_packages"
    fi
    die "configuring failed; what CMake says stands above."
  fi
  rm -f "$log"
}

# build PRESET [TARGET…]: ninja's own progress on a terminal, one line for every tenth elsewhere.
build() {
  local directory=build/$1
  shift
  say "Building $directory${*:+: $*}"
  local command=(cmake --build "$directory" --parallel "${CMAKE_BUILD_PARALLEL_LEVEL:-$(job_count)}")
  (($# == 0)) || command+=(--target "$@")
  if [[ -t 3 ]]; then
    "${command[@]}" >&3 2>&1 || die "the build failed; the compiler's words stand above."
  else
    "${command[@]}" 2>&1 | tenths >&3 || die "the build failed; the compiler's words stand above."
  fi
}

# Of ninja's progress lines, lets one in ten through as a percentage; everything else passes as it is.
tenths() {
  local line tenth last=0
  while IFS= read -r line; do
    if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
      [[ $line == *"] Building "* || $line == *"] Linking "* ]] || continue
      tenth=$((BASH_REMATCH[1] * 10 / BASH_REMATCH[2]))
      if ((tenth > last)); then
        last=$tenth
        printf '    %d %%\n' $((tenth * 10))
      fi
    elif [[ $line != "ninja: no work to do." && $line != "-- "* ]]; then
      printf '%s\n' "$line"
    fi
  done
}
