#!/usr/bin/env bash
# Installs what is missing, builds, and runs the release tests.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
ctest --preset release -j "$(nproc)"
