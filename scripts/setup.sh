#!/usr/bin/env bash
# Installs every Debian package qxutils needs (only those missing), then configures and builds the
# library, its tests, benchmarks and tool in build/.
set -euo pipefail
source "$(dirname "$0")/common.sh"

qx_install_packages
qx_build release
