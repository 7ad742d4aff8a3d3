#!/usr/bin/env bash
# Installs a build, and builds a project outside of it with the installed package. The project gets
# the examples of the documentation, too.
# usage: install.sh BUILD_DIRECTORY CONSUMER_SOURCE DOCUMENTATION WORK_DIRECTORY JAVAC
set -euo pipefail
build=$1 source=$2 documentation=$3 work=$4 javac=$5
rm -rf "$work/prefix" "$work/build" "$work/examples"
cmake --install "$build" --prefix "$work/prefix" >/dev/null

# The first code block in a language that holds a text.
code_block() { # FILE LANGUAGE TEXT
  awk -v begin="\`\`\`$2" -v text="$3" '
    $0 == "```" && inside { if (index(block, text)) { printf "%s", block; exit } inside = 0 }
    inside { block = block $0 "\n" }
    $0 == begin { inside = 1; block = "" }' "$1"
}
mkdir -p "$work/examples"
code_block "$documentation/java.md" java "class Reverse" >"$work/examples/Reverse.java"
code_block "$documentation/cpp.md" cpp ferrolink_register_handlers >"$work/examples/reverse.cpp"

cmake -S "$source" -B "$work/build" -G Ninja "-DCMAKE_PREFIX_PATH=$work/prefix" \
  "-DEXAMPLES=$work/examples" >/dev/null
cmake --build "$work/build" >/dev/null
"$javac" -Xlint:all -Werror -encoding UTF-8 -d "$work/examples" \
  -cp "$work/prefix/Binaries/Jvm/FerrolinkJvmRuntime.jar" "$work/examples/Reverse.java"
