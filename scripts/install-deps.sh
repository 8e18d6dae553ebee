#!/usr/bin/env bash
# Installs the Debian packages that Kelvo needs and that are missing.
#
#   scripts/install-deps.sh           everything: to build, test, check and measure
#   scripts/install-deps.sh --build   only what the program itself is built with
#
# Exits at once when all is there. When it may not install packages, or installing fails, it names
# the missing ones and exits with status 1.
set -u

build_packages=(g++ cmake ninja-build flex bison libfl-dev libboost-dev
  libboost-program-options-dev libgmp-dev libtinyxml2-dev nlohmann-json3-dev libeigen3-dev)
check_packages=(clang-14 libclang-rt-14-dev clang-format clang-tidy ccache libgtest-dev
  libgmock-dev libbenchmark-dev z3 libz3-dev python3)
# For batches on a cluster, and for a look at their reports.
batch_packages=(python3-distributed slurm-wlm chromium)

packages=("${build_packages[@]}")
[[ ${1:-} == --build ]] || packages+=("${check_packages[@]}" "${batch_packages[@]}")

if ! command -v dpkg-query >/dev/null; then
  echo "install-deps: no Debian system; these packages, or their like, are needed: ${packages[*]}" >&2
  exit 0
fi

missing_packages() {
  local package
  declare -A installed=()
  while read -r package status; do
    [[ $status == 'install ok installed' ]] && installed[${package%%:*}]=1
  done < <(dpkg-query -W -f '${Package} ${Status}\n' "${packages[@]}" 2>/dev/null)
  for package in "${packages[@]}"; do
    [[ -n ${installed[$package]:-} ]] || printf '%s\n' "$package"
  done
}

mapfile -t missing < <(missing_packages)
[[ ${#missing[@]} -eq 0 ]] && exit 0

give_up() {
  echo "install-deps: $1" >&2
  echo "install-deps: missing packages: ${missing[*]}" >&2
  exit 1
}

as_root=()
if [[ $(id -u) -ne 0 ]]; then
  sudo -n true 2>/dev/null || give_up "only root may install packages"
  as_root=(sudo -n)
fi
command -v apt-get >/dev/null || give_up "there is no apt-get"

echo "install-deps: installing ${missing[*]}" >&2
install() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=600 install -y --no-install-recommends "${missing[@]}" </dev/null >&2
}
# Package lists may be absent or old; then the first attempt fails and is repeated with fresh ones.
install || { "${as_root[@]}" apt-get update </dev/null >&2 && install; }

mapfile -t missing < <(missing_packages)
[[ ${#missing[@]} -eq 0 ]] || give_up "installing failed"
