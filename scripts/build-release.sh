#!/usr/bin/env bash
# Builds targets of the optimised build in build/release, after installing what is missing.
#
#   scripts/build-release.sh [--quiet] [--with-tests] <target>...
#
# --quiet sends the output to build/release/build.log and shows its end only when the build fails.
set -u
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

quiet=no
options=()
packages=--build
while [[ ${1:-} == --* ]]; do
  case $1 in
    --quiet) quiet=yes ;;
    --with-tests)
      options=(-DKELVO_BUILD_TESTS=ON -DKELVO_BUILD_BENCH=ON)
      packages=--all
      ;;
    *) echo "build-release: unknown option $1" >&2; exit 1 ;;
  esac
  shift
done

folder=build/release
if ! mkdir -p "$folder" 2>/dev/null || [[ ! -w $folder ]]; then
  echo "build-release: Kelvo is not built for these sources, and $PWD/$folder cannot be written" >&2
  exit 1
fi

# Two calls at once would disturb each other, in the folder and when they install packages.
exec 9>"$folder/.lock"
flock 9

scripts/install-deps.sh "$packages" 9>&- || exit 1

# CMake refuses a cache that was made for another folder: the checkout was moved or copied.
cached() { sed -n "s|^$1:INTERNAL=||p" "$folder/CMakeCache.txt"; }
if [[ -f $folder/CMakeCache.txt ]] &&
  [[ ! $(cached CMAKE_HOME_DIRECTORY) -ef . || ! $(cached CMAKE_CACHEFILE_DIR) -ef $folder ]]; then
  echo "The checkout has moved; $folder is made anew" >&2
  find "$folder" -mindepth 1 ! -path "$folder/.lock" -delete
fi

# A build without tests needs fewer packages; one that has them keeps them.
[[ ${#options[@]} -gt 0 || -f $folder/CMakeCache.txt ]] || options=(-DKELVO_BUILD_TESTS=OFF)
command -v ccache >/dev/null && options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

build() {
  cmake --preset release "${options[@]}" && cmake --build "$folder" --target "$@"
}

# What changes while the build runs is newer than the stamp.
touch "$folder/.building"
if [[ $quiet == yes ]]; then
  echo "Building Kelvo in $folder (this is done once) ..." >&2
  if ! build "$@" >"$folder/build.log" 2>&1 </dev/null 9>&-; then
    tail -n 30 "$folder/build.log" >&2
    echo "The build failed; the whole log is in $PWD/$folder/build.log" >&2
    exit 1
  fi
else
  build "$@" </dev/null 9>&- || exit 1
fi
mv "$folder/.building" "$folder/.built"
