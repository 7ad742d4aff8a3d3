#!/usr/bin/env bash
# Runs a program of the project outside against the installed tree and compares what it prints.
# usage: consume.sh WORK_DIRECTORY EXPECTED_LINES COMMAND [ARGUMENT ...]
# EXPECTED_LINES are the last lines; the library may print others before them.
set -euo pipefail
work=$1 expected=$2
shift 2
JAVA_HOME=${JAVA_HOME:-$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")}
export JAVA_HOME
answer=$(FERROLINK_HOME=$work/prefix "$@" | tail -n "$(wc -l <<<"$expected")")
[ "$answer" = "$expected" ] || { echo "answered: $answer" >&2; exit 1; }
