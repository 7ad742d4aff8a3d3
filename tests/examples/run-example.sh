#!/usr/bin/env bash
# Runs an example in a directory of its own and compares all that it prints, and its exit code.
# usage: run-example.sh JAVA_HOME EXPECTED EXIT_CODE COMMAND [ARGUMENT ...]
# EXPECTED.out is the standard output, EXPECTED.err the standard error, empty where it is missing.
# The command "java" is that of JAVA_HOME.
set -euo pipefail
home=$1 expected=$2 exit_code=$3
shift 3

for variable in $(compgen -e); do
  case "$variable" in
    FERROLINK_* | JAVA_TOOL_OPTIONS | JDK_JAVA_OPTIONS | _JAVA_OPTIONS) unset "$variable" ;;
  esac
done
export JAVA_HOME=$home FERROLINK_LOGGING_LEVEL=off LC_ALL=C.UTF-8

# shellcheck source=scripts/common.sh
. "$(dirname "$0")/../../scripts/common.sh"
ferrolink_native_access
if [ "$1" = java ]; then
  set -- "$home/bin/java" "${native_access[@]}" "${@:2}"
elif [ ${#native_access[@]} -gt 0 ]; then
  # A JVM that a native program starts takes options from the environment, and says so.
  export JAVA_TOOL_OPTIONS="${native_access[*]}"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
touch "$work/none"
errors=$expected.err
[ -f "$errors" ] || errors=$work/none
failed=0
mkdir "$work/directory"
(cd "$work/directory" && exec "$@") >"$work/out.all" 2>"$work/err.all" || failed=$?
# With a JVM that a native program starts, the library prints what JVM that is.
sed '/^Java version: /,/^$/d' "$work/out.all" >"$work/out"
grep -vxF "Picked up JAVA_TOOL_OPTIONS: ${JAVA_TOOL_OPTIONS:-}" "$work/err.all" >"$work/err" || true

result=0
diff -u "$expected.out" "$work/out" || result=1
diff -u "$errors" "$work/err" || result=1
[ "$failed" = "$exit_code" ] || { echo "ended with $failed, not $exit_code" >&2; result=1; }
left=$(ls -A "$work/directory")
[ -z "$left" ] || { echo "left behind: $left" >&2; result=1; }
exit $result
