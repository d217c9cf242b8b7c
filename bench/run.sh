#!/usr/bin/env bash
# Compares the release build with two other tools and copying, prints the tables of docs/performance.md and draws its
# chart. Fails if a bound is exceeded. bench/run.sh [ROUNDS [OTHER]]: 7 rounds by default; OTHER is another build of the
# program, to be compared with this one. The inputs and outputs take about 500 MB below TMPDIR.
set -euo pipefail

Rounds=${1:-7}
Other=${2:+$(realpath "$2")}
if [[ ! $Rounds =~ ^[1-9][0-9]*$ || ! -x ${Other:-$0} ]]; then
  echo "Usage: bench/run.sh [ROUNDS [OTHER]]" >&2
  exit 2
fi

source "$(dirname "${BASH_SOURCE[0]}")/../tools/lib/common.sh"
need g++ make cmake /usr/bin/time:time objcopy:binutils srec_cat:srecord python3 hyperfine \
  /usr/lib/python3/dist-packages/matplotlib:python3-matplotlib

build release
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT
python3 -B bench/make_inputs.py "$Scratch"
python3 -B bench/measure.py build/release/Blockfit "$Scratch" "$Rounds" build/speed.json ${Other:+"$Other"} ||
  Status=$?
/usr/bin/python3 -B bench/chart.py build/speed.json docs
exit "${Status:-0}"
