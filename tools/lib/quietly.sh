# shellcheck shell=bash
# Sourced: runs commands whose output matters only when they fail.

# quietly COMMAND [ARGUMENT...]: shows the command's output only if it fails. Returns its exit status.
quietly() {
  local Output Status=0
  Output=$("$@" 2>&1) || Status=$?
  ((Status == 0)) || printf '%s\n' "$Output" >&2
  return "$Status"
}
