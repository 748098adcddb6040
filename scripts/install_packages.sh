#!/usr/bin/env bash
# Installs the packages of the named lists that are missing (Debian 12); does nothing when all are
# there. usage: install_packages.sh LIST..., such as packages packages-test
set -euo pipefail
here=$(dirname "$0")
missing=()
for list in "$@"; do
  while read -r package; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done <"$here/$list.txt"
done
[ ${#missing[@]} -eq 0 ] && exit 0
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
echo "Installing: ${missing[*]}"
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -qy --no-install-recommends "${missing[@]}"
