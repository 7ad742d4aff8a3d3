# Completion for the programs of Ferrolink. What can be completed comes from --help: options, the values of
# an option such as "--log-format text|json" or "--runtime TEXT:{jvm,cpp}", and subcommands.
_ferrolink() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local -a command=("${COMP_WORDS[0]}")
  local help values
  help=$("${command[@]}" --help 2>/dev/null </dev/null) || return
  local subcommands
  subcommands=$(sed -n '/^[A-Za-z ]*[Cc]ommands:$/,/^$/s/^  \([a-z][a-z-]*\).*/\1/p' <<<"$help")
  if ((COMP_CWORD > 1)) && grep -qxF -- "${COMP_WORDS[1]}" <<<"$subcommands"; then
    help=$("${command[@]}" "${COMP_WORDS[1]}" --help 2>/dev/null </dev/null) || return
    subcommands=
  fi
  values=$(awk -v option="$previous" '
    $1 == option && $2 ~ /^([A-Z]+:\{[a-z0-9,]+\}|[a-z0-9]+(\|[a-z0-9]+)+)$/ {
      gsub(/^[A-Z]+:\{|\}$/, "", $2)
      gsub(/[|,]/, "\n", $2)
      print $2
    }' <<<"$help")
  if [ -n "$values" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
  elif [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(sed -nE 's/^ +(-[a-z],)?(--[a-z][a-z-]*).*/\2/p' <<<"$help")" -- "$current")
  elif ((COMP_CWORD == 1)) && [ -n "$subcommands" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$subcommands" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -o filenames -F _ferrolink ferrolink ferrolink-server
