#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only those missing.
set -euo pipefail
packages=(
  cmake ninja-build g++ pkg-config make
  qt6-base-dev qt6-base-dev-tools
  nlohmann-json3-dev libsndfile1-dev
  libavformat-dev libavcodec-dev libavutil-dev libswresample-dev
  libsoxr-dev libjack-jackd2-dev jackd2 libasound2-dev libfftw3-dev libltc-dev libebur128-dev
  libavahi-client-dev libqrencode-dev liblo-dev liblo-tools python3-websockets chromium
  libgtest-dev libgmock-dev libbenchmark-dev
  ffmpeg sox xvfb xauth
  xdotool clang libclang-rt-dev
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
# jackd2 asks whether to enable real-time priority; answer for it.
echo "jackd2 jackd/tweak_rt_limits boolean false" | $sudo debconf-set-selections
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
