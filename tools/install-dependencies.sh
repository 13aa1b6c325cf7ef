#!/usr/bin/env bash
# Installs the Debian packages the helper needs to build, test and demonstrate.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2046
$sudo apt-get install -y -qq --no-install-recommends $(grep -v '^#' "$here/debian-packages.txt") >/dev/null
