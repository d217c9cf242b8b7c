#!/usr/bin/env bash
# Makes every download from the last commit, in build/downloads, and tries each as its user would. With --verify, makes
# them again in another folder, under another umask and time zone, and compares. With --quick, only tries the static
# programs and the packages for node and pip, from the working tree. Runs on 64-bit x86.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need git make cmake c++:g++ python3 node:nodejs npm aarch64-linux-gnu-g++:g++-aarch64-linux-gnu qemu-aarch64:qemu-user \
  x86_64-w64-mingw32-g++-posix:g++-mingw-w64-x86-64-posix mandoc zip unzip pipx \
  /usr/lib/python3/dist-packages/wheel:python3-wheel

Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT
Version=$(sed -n 's/^project(Blockfit VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
Time=$(git log -1 --format=%ct)

# make_archive PRESET MACHINE FOLDER PIP_MACHINE: what cmake --install installs, in an archive; the programs, for pip.
make_archive() {
  local Name=blockfit-$Version-linux-$2
  build "$1"
  quietly cmake --install "build/$1" --prefix "$PWD/build/$1/archive/$Name"
  cp packaging/README.md "build/$1/archive/$Name"
  tar --create --directory="build/$1/archive" --sort=name --mtime="@$Time" --owner=0 --group=0 --numeric-owner \
    --mode=u=rwX,go=rX "$Name" | gzip -9n >"$3/$Name.tar.gz"
  quietly pip/make_wheel.sh "build/$1/archive/$Name" "$3" "manylinux2014_$4" "musllinux_1_1_$4"
}

# make_windows_archive FOLDER: an archive and a package for pip.
make_windows_archive() {
  local Name=blockfit-$Version-windows-x86-64 Installed=$PWD/build/windows/installed Page
  build windows
  quietly cmake --install build/windows --prefix "$Installed"
  quietly pip/make_wheel.sh "$Installed" "$1" win_amd64
  mkdir -p "build/windows/archive/$Name/manual"
  (
    cd build/windows/archive
    cp -r "$Installed/bin" "$Installed"/share/doc/blockfit/{README.md,copyright,blockfit.html} "$Name"
    for Page in "$Installed"/share/man/man1/*; do
      mandoc -T html "$Page" >"$Name/manual/$(basename "$Page" .1).html"
    done
    chmod -R u=rwX,go=rX "$Name"
    find "$Name" -type f -exec touch --date="@$Time" {} +
    find "$Name" -type f | LC_ALL=C sort | TZ=UTC zip -q -X -@ "$1/$Name.zip"
  )
}

make_node_package() { # FOLDER
  chmod -R u=rwX,go=rX build/web/node
  quietly npm pack --pack-destination "$1" ./build/web/node
  mv "$1"/blockfit-*.*.*.tgz "$1/blockfit-$Version-node.tgz"
}

# make_downloads FOLDER TASK: makes all files in FOLDER/build/downloads, in a new clone; TASK is for web.sh.
make_downloads() {
  git clone --quiet . "$1"
  cd "$1"
  export SOURCE_DATE_EPOCH=$Time LC_ALL=C.UTF-8
  local Out=$PWD/build/downloads
  tools/web.sh "$2"
  tools/package.sh
  mkdir "$Out"
  make_archive static x86-64 "$Out" x86_64
  make_archive static-arm64 arm64 "$Out" aarch64
  make_windows_archive "$Out"
  make_node_package "$Out"
  git -c tar.umask=022 archive --prefix="blockfit-$Version/" HEAD | gzip -9n >"$Out/blockfit-$Version.tar.gz"
  cp build/package/*.deb build/web/blockfit.html "$Out"
  (cd "$Out" && chmod 644 -- * && sha256sum -- * >SHA256SUMS)
}

try_static() { # ARCHIVE [EMULATOR]
  mkdir "$Scratch/root"
  tar --extract --file="$1" --directory="$Scratch/root" --strip-components=2 --wildcards '*/bin/*'
  tools/same_output.py 400 build/release/Blockfit "${@:2}" "$Scratch/root/Blockfit"
  if (($# == 1)); then
    local InRoot=(chroot "$Scratch/root") # there is nothing else
    ((EUID == 0)) || InRoot=(sudo "${InRoot[@]}")
    cp examples/sample.hex "$Scratch/root/fw.hex"
    quietly "${InRoot[@]}" /Blockfit fw.hex
    quietly "${InRoot[@]}" /blockfit-check --conditioned --against fw.hex fw.srec
    quietly "${InRoot[@]}" /blockfit-convert fw.hex
    ! env -u HOME "${InRoot[@]}" /Blockfit -o \~/fw fw.hex >/dev/null || fail "It found a home folder."
  fi
  rm -rf "$Scratch/root"
}

try_node_package() { # PACKAGE
  mkdir "$Scratch/user's folder ä"
  cp examples/sample.hex "$Scratch/user's folder ä/fw ü.hex"
  (
    cd "$Scratch/user's folder ä"
    quietly npm install --offline --no-audit --no-fund "$1"
    quietly npx blockfit "fw ü.hex"
    quietly npx blockfit-check --conditioned --against "fw ü.hex" "fw ü.srec"
    quietly npx blockfit-convert "fw ü.hex"
    ! npx blockfit -o printed "fw ü.hex" >printed.srec || fail "The output went into the file with the messages."
  )
  tools/same_output.py 400 build/release/Blockfit node "$Scratch/user's folder ä/node_modules/blockfit/blockfit.js"
}

try_wheel() { # FOLDER
  local Wheel=("$1"/*x86_64.whl)
  /usr/bin/python3 -m venv "$Scratch/venv"
  quietly "$Scratch/venv/bin/pip" install --no-index "${Wheel[0]}"
  quietly "$Scratch/venv/bin/pip" check
  quietly "$Scratch/venv/bin/Blockfit" -o "$Scratch/fw" examples/sample.hex
  quietly "$Scratch/venv/bin/pip" uninstall --yes blockfit
  [[ ! -e $Scratch/venv/bin/Blockfit ]] || fail "pip uninstall left something."
  export PIPX_HOME=$Scratch/pipx PIPX_BIN_DIR=$Scratch/pipx/bin
  PIP_NO_INDEX=1 quietly pipx install "${Wheel[0]}" # in which pipx also renews its own pip
  quietly "$PIPX_BIN_DIR/blockfit-check" --conditioned --against examples/sample.hex "$Scratch/fw.srec"
}

install_foreign_wheel() { # WHEEL PLATFORM FOLDER
  quietly "$Scratch/venv/bin/pip" install --no-index --only-binary=:all: --platform "$2" --target "$3" "$1"
}

try_arm64_wheel() { # WHEEL
  install_foreign_wheel "$1" manylinux2014_aarch64 "$Scratch/arm64"
  quietly qemu-aarch64 "$Scratch/arm64/bin/Blockfit" -o "$Scratch/arm64/fw" examples/sample.hex
  quietly qemu-aarch64 "$Scratch/arm64/bin/blockfit-check" --against examples/sample.hex "$Scratch/arm64/fw.srec"
}

try_windows() { # ARCHIVE WHEEL
  unzip -q -d "$Scratch/windows" "$1"
  install_foreign_wheel "$2" win_amd64 "$Scratch/win_amd64"
  diff -r "$Scratch"/windows/*/bin "$Scratch/win_amd64/bin"
  tools/windows.sh "$Scratch/win_amd64/bin"
}

build release
if [[ ${1:-} == --quick ]]; then
  tools/web.sh build
  make_archive static x86-64 "$Scratch" x86_64
  make_node_package "$Scratch"
  try_static "$Scratch/blockfit-$Version-linux-x86-64.tar.gz"
  try_wheel "$Scratch"
  try_node_package "$Scratch/blockfit-$Version-node.tgz"
  exit
fi

# In .ci/run, libcxx and s390x stand in for these.
tools/check.sh clang
tools/check.sh arm64

(make_downloads "$Scratch/blockfit" test)
rm -rf build/downloads
cp -r "$Scratch/blockfit/build/downloads" build
try_static "build/downloads/blockfit-$Version-linux-x86-64.tar.gz"
try_static "build/downloads/blockfit-$Version-linux-arm64.tar.gz" qemu-aarch64
try_wheel build/downloads
try_arm64_wheel build/downloads/*_aarch64.whl
try_windows build/downloads/*.zip build/downloads/*-win_amd64.whl
try_node_package "$PWD/build/downloads/blockfit-$Version-node.tgz"
if [[ ${1:-} == --verify ]]; then
  (umask 077 && export TZ=Asia/Kathmandu && make_downloads "$Scratch/another/folder" build)
  diff "$Scratch/another/folder/build/downloads/SHA256SUMS" build/downloads || fail "Not the same bytes again."
  echo "The same bytes again, in another folder."
fi
while read -r Sum Name; do
  printf '%8d  %-75s %s\n' "$(stat --format=%s "build/downloads/$Name")" "$Name" "$Sum"
done <build/downloads/SHA256SUMS
