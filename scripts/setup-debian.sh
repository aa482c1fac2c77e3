#!/usr/bin/env bash
# Installs what building, testing and benchmarking need on Debian 12. Run as root.
# Slurm and munge are for the render-farm test, which starts its own daemons; the
# packages' own services are not needed.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
pkgs=(g++ cmake make pkg-config libgtest-dev libgmock-dev libbenchmark-dev libopenimageio-dev libcli11-dev
  libopencolorio-dev fonts-dejavu-core libavformat-dev libavcodec-dev libswscale-dev libavutil-dev
  slurm-wlm munge openimageio-tools)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
