#!/usr/bin/env bash
# Builds the page, build/web/blockfit.html, which has the program in it, and tests it in Chromium and Firefox.
# With the argument "build" it only builds; with "screenshots" it makes the documentation's pictures of the page anew;
# with "speed" it prints how the page's times compare with the native programs', and with those of other pages.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/common.sh

Task=${1:-test}
Needs=(make cmake em++:emscripten node:nodejs npm python3)
if [[ $Task != build ]]; then
  Needs+=(c++:g++ chromium firefox-esr pngquant /usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf:fonts-dejavu-core)
fi
need "${Needs[@]}"

mkdir -p build
(
  flock 9
  cd web
  [[ node_modules/.package-lock.json -nt package-lock.json ]] || quietly npm ci --no-audit --no-fund
) 9>build/npm.lock
# Where Debian keeps the packages that its emscripten needs; a node that is not Debian's does not look there.
export NODE_PATH=/usr/share/nodejs
build web
Size=$(stat --format=%s build/web/blockfit.html)
echo "build/web/blockfit.html: $Size bytes"
((Size <= 310000)) || fail "That is more than 310 kB."
[[ $Task != build ]] || exit 0

build release
cd web
if [[ $Task == screenshots ]]; then
  node ../tools/lib/screenshots.mjs
  pngquant --force --ext .png --speed 1 ../docs/web-*.png
elif [[ $Task == speed ]]; then
  node ../bench/page_speed.mjs "${@:2}"
else
  for Test in test/*.test.mjs; do
    node --test "$Test"
  done
fi
