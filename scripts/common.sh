# Shared by the scripts; sourced from the repository's root.
# shellcheck shell=bash

# Sets JAVA_HOME, the JDK to build with and to run on. If it is unset, takes the one that setup installs.
ferrolink_java_home() {
  if [ -n "${JAVA_HOME:-}" ]; then
    return
  fi
  JAVA_HOME=$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")
  export JAVA_HOME
}

# Configures and builds a preset. Prints the output only on failure.
# usage: ferrolink_build PRESET ON|OFF [cmake build option ...]      ON: the tests as well
# FERROLINK_BENCH=ON in the environment: the benchmarks as well.
ferrolink_build() {
  local preset=$1 tests=$2 log
  shift 2
  mkdir -p build
  log="build/$preset.log"
  if ! { cmake --preset "$preset" "-DFERROLINK_TESTS=$tests" "-DFERROLINK_BENCH=${FERROLINK_BENCH:-OFF}" && cmake --build --preset "$preset" "$@"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "Building the preset $preset failed." >&2
    return 1
  fi
}

# Sets the array native_access to the option that allows native libraries: without it, JVMs from version 24
# on print a warning. Empty for older JVMs, since the oldest do not know the option. Needs JAVA_HOME.
ferrolink_native_access() {
  local version
  version=$(sed -n 's/^JAVA_VERSION="\([0-9]*\).*/\1/p' "$JAVA_HOME/release" 2>/dev/null) || true
  # shellcheck disable=SC2034  # for the scripts that source this
  native_access=()
  # shellcheck disable=SC2034
  [ "${version:-0}" -lt 24 ] || native_access=(--enable-native-access=ALL-UNNAMED)
}
