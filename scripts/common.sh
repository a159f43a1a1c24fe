# Sourced by the scripts beside it.
step() { printf '\n== %s\n' "$1"; }

# Installs the Debian packages that are missing.
install_packages() {
  local missing=() package sudo=
  for package in "$@"; do
    dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

# Configures and builds one preset; further arguments go to the build.
build() {
  if command -v ccache >/dev/null; then
    # Without the second, nothing that has a precompiled header is kept.
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_SLOPPINESS=pch_defines,time_macros
  fi
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$@"
}

BUILD_PACKAGES=(g++ cmake ninja-build ccache libcli11-dev nlohmann-json3-dev libgtest-dev libbenchmark-dev)
