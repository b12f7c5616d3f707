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

  # A compiler cache helps where there is one.
  if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER="${CMAKE_C_COMPILER_LAUNCHER:-ccache}"
    export CMAKE_CXX_COMPILER_LAUNCHER="${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}"
  fi
}

# tolm_as_root WHAT COMMAND...   Runs COMMAND as root; WHAT stands in the line where that can't be.
tolm_as_root() {
  local what="$1"
  shift
  if [[ "$(id -u)" == 0 ]]; then
    "$@"
  elif ! command -v sudo >/dev/null; then
    tolm_stop "to $what this must run as root, or sudo must be installed."
  elif sudo -n true 2>/dev/null; then
    sudo -n "$@"
  elif [[ -t 0 ]]; then
    sudo "$@"
  else
    tolm_stop "to $what sudo wants a password, and there is no terminal to ask on. Run it on one, or as root."
  fi
}

# tolm_packages GROUP...   Installs the packages of these groups that are missing.
tolm_packages() {
  local package missing=() wanted=()
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
  local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -qq
    -o DPkg::Lock::Timeout=300 -o Acquire::Retries=2 -o Acquire::http::Timeout=30 -o Dpkg::Use-Pty=0)
  # A list that can't be fetched may be one that isn't needed: the installation decides.
  tolm_as_root "install packages" "${apt[@]}" update || true
  tolm_as_root "install packages" "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null ||
    tolm_stop "apt-get couldn't install the packages (its own lines stand above). Is there a network?"
}

# tolm_build PRESET   Configures and builds; the output of a configuration is shown only if it fails.
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
  cmake --build --preset "$preset" || tolm_stop "the build failed."
}
