#!/usr/bin/env bash
# Installs the Debian packages that are missing and builds the release preset.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh
install_packages "${BUILD_PACKAGES[@]}"
build release
