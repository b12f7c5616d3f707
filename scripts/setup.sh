# shellcheck shell=bash
# Sourced by ./run, ./test and the other scripts: the packages of scripts/packages.txt, and the
# environment that a container may lack. Asks nothing; stops with one line where it can't go on.

tolm_source="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

tolm_say() {
  printf '== %s\n' "$*"
}

tolm_stop() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# A container may come without these two, and the programs need them.
tolm_environment() {
  if [[ -z "${USER:-}" ]]; then
    USER="$(id -un)"
  fi
  if [[ -z "${HOME:-}" ]]; then
    HOME="$(getent passwd "$(id -u)" | cut -d: -f6)"
  fi
  export USER HOME
  umask 022

  # A compiler cache helps where there is one, also from one clone to the next.
  if command -v ccache >/dev/null; then
    export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$tolm_source}"
    export CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-1}"
    export CMAKE_C_COMPILER_LAUNCHER="${CMAKE_C_COMPILER_LAUNCHER:-ccache}"
    export CMAKE_CXX_COMPILER_LAUNCHER="${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}"
  fi
}

# tolm_need_root WHAT   Fills tolm_root with what stands before a command to run it as root; stops with a
# line that says WHAT wants it where that can't be.
tolm_root=()
tolm_need_root() {
  if [[ "$(id -u)" == 0 ]]; then
    tolm_root=()
  elif ! command -v sudo >/dev/null; then
    tolm_stop "to $1 this must run as root, or sudo must be installed."
  elif sudo -n true 2>/dev/null; then
    tolm_root=(sudo -n)
  elif [[ -t 0 ]]; then
    tolm_root=(sudo)
  else
    tolm_stop "to $1 sudo wants a password, and there is no terminal to ask on. Run it on one, or as root."
  fi
}

# tolm_packages GROUP...   Installs the packages of these groups that are missing.
tolm_packages() {
  local package log missing=() wanted=()
  mapfile -t wanted < <(awk -v groups=" $* " '/^[a-z]/ && index(groups, " " $1 " ") { print $2 }' \
    "$tolm_source/scripts/packages.txt")
  if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    tolm_stop "there is no apt-get here. With these packages in place, use --no-install: ${wanted[*]}"
  fi
  for package in "${wanted[@]}"; do
    if [[ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
      missing+=("$package")
    fi
  done
  if [[ ${#missing[@]} == 0 ]]; then
    return
  fi

  tolm_say "Installing ${#missing[@]} missing Debian packages: ${missing[*]}"
  tolm_need_root "install packages"
  local apt=("${tolm_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q
    -o DPkg::Lock::Timeout=300 -o Acquire::Retries=2 -o Acquire::http::Timeout=30 -o Dpkg::Use-Pty=0)
  mkdir -p "$tolm_source/build"
  log="$tolm_source/build/packages.log"
  # A list that can't be fetched may be one that isn't needed: the installation decides.
  "${apt[@]}" update >"$log" 2>&1 || true
  "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1 || {
    tail -n 6 "$log" >&2
    tolm_stop "apt-get couldn't install the packages (its last lines stand above). Is there a network?"
  }
}

# tolm_build PRESET [TARGET...]   Configures and builds; the output of a configuration is shown only if it fails.
tolm_build() {
  local preset="$1" log
  log="$tolm_source/build/$preset-configure.log"
  cd "$tolm_source" || exit 1
  mkdir -p build
  tolm_say "Building preset $preset in build/$preset"
  if ! cmake --preset "$preset" >"$log" 2>&1; then
    cat "$log" >&2
    tolm_stop "the configuration failed (output above, kept in build/$preset-configure.log)."
  fi
  cmake --build --preset "$preset" ${2:+--target "${@:2}"} || tolm_stop "the build failed."
}
