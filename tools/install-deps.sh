#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing OrvKit needs,
# against Qt 5 (the default) and against Qt 6 (the qt6 preset).
set -euo pipefail
packages=(cmake g++ make pkg-config qtbase5-dev qt6-base-dev qt6-5compat-dev zlib1g-dev
          libcpp-httplib-dev libssl-dev libgtest-dev openssl libcli11-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
