#!/usr/bin/env bash
# Runs a program of the project outside against the installed tree and compares what it prints.
# usage: consume.sh WORK_DIRECTORY EXPECTED_LINES COMMAND [ARGUMENT ...]
# EXPECTED_LINES are the last lines; the library may print others before them.
# No variable names the installation: the program was built against it, or its archive lies in it.
set -euo pipefail
work=$1 expected=$2 program=$3
shift 3
JAVA_HOME=${JAVA_HOME:-$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")}
export JAVA_HOME
unset FERROLINK_HOME
if [[ "$program" == "$work"/* ]]; then
  # Programs look around themselves first, and the build above the work directory is an installation.
  elsewhere=$(mktemp -d)
  trap 'rm -r "$elsewhere"' EXIT
  cp "$program" "$elsewhere/"
  program=$elsewhere/$(basename "$program")
fi
answer=$("$program" "$@" | tail -n "$(wc -l <<<"$expected")")
[ "$answer" = "$expected" ] || { echo "answered: $answer" >&2; exit 1; }
