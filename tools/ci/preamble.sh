# Sourced first by every CI stage and by tools/install-deps.sh: strict mode,
# the project root as the working directory, the packages that building and
# testing OrvKit need, and ci_install for a stage's own packages.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# Installs those of the named Debian 12 packages that are missing.
ci_install() {
  local missing=() p sudo=""
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  [ "$(id -u)" -ne 0 ] && sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

ci_install cmake g++ make pkg-config qtbase5-dev qt6-base-dev qt6-5compat-dev zlib1g-dev libcpp-httplib-dev libssl-dev libgtest-dev openssl libcli11-dev
