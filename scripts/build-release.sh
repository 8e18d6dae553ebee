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
# A build without tests needs fewer packages; one that has them keeps them.
[[ ${#options[@]} -gt 0 || -f $folder/CMakeCache.txt ]] || options=(-DKELVO_BUILD_TESTS=OFF)

scripts/install-deps.sh "$packages" || exit 1
mkdir -p "$folder"
command -v ccache >/dev/null && options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

build() {
  cmake --preset release "${options[@]}" && cmake --build "$folder" --target "$@"
}

# Two calls at once would disturb each other in the same folder.
exec 9>"$folder/.lock"
flock 9
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
touch "$folder/.built"
