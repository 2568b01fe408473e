#!/bin/sh
# The whole help of vekctl as one text, for help2man to make vekctl(8) of:
# vekctl's own help (its global options), then one section per command
# with that command's help, then the exit statuses. Run as
#   VEKCTL=path/to/vekctl help2man [options] cmake/vekctl-help.sh
# (help2man calls it with --help and with --version). Everything comes from
# vekctl's option table, so the manual follows the options as they change.
set -eu
: "${VEKCTL:?VEKCTL must name the vekctl program}"

# The sections of the leaf commands under "vekctl WORD...": a heading with
# the command's usage, its description, its arguments and options (less the
# help options every command has).
commands() {
  text=$("$VEKCTL" "$@" --help)
  subcommands=$(printf '%s\n' "$text" | sed -n '/^Subcommands:$/,/^$/s/^  \([a-z][a-z0-9-]*\) .*/\1/p')
  if [ -n "$subcommands" ]; then
    for word in $subcommands; do commands "$@" "$word"; done
    return
  fi
  printf '%s\n' "$text" | awk '
    NR == 1 { description = $0; next }
    /^Usage: / { usage = substr($0, 8); next }
    /^(Positionals|Options):$/ { listing = 1; next }
    /^Exit status:/ { exit }
    /^  (-h,--help|--help-all) / { next }
    listing && /^ / { options = options $0 "\n" }
    END { printf "\n%s:\n %s\n%s", usage, description, options }'
}

if [ "${1:-}" = --version ]; then
  exec "$VEKCTL" --version
fi
text=$("$VEKCTL" --help)
# The help ends with a footer: "Exit status: 0 success, 1 ... . <notes>".
footer=$(printf '%s\n' "$text" | sed -n '/^Exit status: /,$p' | tr '\n' ' ')
statuses=$(printf '%s\n' "${footer#Exit status: }" | sed 's/\. .*//')
notes=$(printf '%s\n' "$footer" | sed 's/^[^.]*\. *//')
# Usage, description and global options: everything before the commands.
printf '%s\n' "$text" | sed -n '/^Subcommands:$/q;p'
printf '%s\n' "$notes"
commands
printf '\nExit status:\n'
printf '%s\n' "$statuses" | sed 's/, \([0-9][0-9]*\) /\n\1 /g' | sed 's/^ *\([0-9][0-9]*\) /  \1    /'
