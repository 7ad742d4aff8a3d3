#!/usr/bin/env bash
# usage: consume.sh BUILD_DIRECTORY CONSUMER_SOURCE WORK_DIRECTORY
set -euo pipefail
build=$1 source=$2 work=$3
rm -rf "$work/prefix" "$work/build"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source" -B "$work/build" -G Ninja "-DCMAKE_PREFIX_PATH=$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
JAVA_HOME=${JAVA_HOME:-$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")}
export JAVA_HOME FERROLINK_HOME="$work/prefix"
answer=$("$work/build/consumer" "over the installed package" | tail -n 1)
[ "$answer" = "over the installed package" ] || { echo "answered: $answer" >&2; exit 1; }
