#!/bin/sh
# Prints a section of the tool's page of the manual: its subcommands with their options, from their --help.
# The form is that of help2man's --include.
# usage: packaging/man/subcommands.sh TOOL
set -eu
tool=$1
names=$("$tool" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z]*\)  *.*/\1/p')
echo "[SUBCOMMANDS]"
for name in $names; do
  if [ "$name" = serve ]; then
    printf '.SS ferrolink serve\nRuns\n.BR ferrolink-server (1)\nwith the options that follow.\n'
    continue
  fi
  "$tool" "$name" --help | awk -v command="$name" '
    function roff(text) {
      gsub(/\\/, "\\e", text)
      gsub(/-/, "\\-", text)
      return text ~ /^[.\047]/ ? "\\&" text : text
    }
    # The description begins in column 31, or in the next line if the name is longer.
    function entry(text) {
      skipped = text ~ /^-h,--help/
      name = substr(text, 28, 1) == " " ? substr(text, 1, 28) : text
      description = substr(text, length(name) + 1)
      sub(/ +$/, "", name)
      if (!skipped) {
        print ".TP\n.B " roff(name) (description == "" ? "" : "\n" roff(description))
      }
    }
    NR == 1 { print ".SS ferrolink " command "\n" toupper(substr($0, 1, 1)) roff(substr($0, 2)) "."; next }
    /^Usage: / { print ".PP\n" roff($0); next }
    /^(Positionals|Options):$/ { listing = 1; next }
    listing && /^  [^ ]/ { entry(substr($0, 3)); next }
    listing && /^    / { sub(/^ +/, ""); if (!skipped) print roff($0); next }
    NF { listing = 0; print ".PP\n" roff($0) }'
done
