#!/usr/bin/env bash
# Installs what the build and the tests need on a fresh Debian 12 machine (as root).
# Quiet when everything is already there.
set -euo pipefail

packages=(
  cmake ninja-build g++ g++-multilib g++-mingw-w64-i686 binutils-mingw-w64-i686
  googletest libgtest-dev libbenchmark-dev libcli11-dev libfmt-dev
  clang-14 libclang-rt-14-dev libfuzzer-14-dev valgrind python3 qemu-user
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
