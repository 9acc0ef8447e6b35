#!/usr/bin/env bash
# Sets everything up and runs the command-line tool qxreg: without arguments its main job on the default
# hive (the current profile's settings), with them any verb ("scripts/run.sh profile list"). The set-up
# talks on standard error, so that standard output is the tool's own.
set -euo pipefail
source "$(dirname "$0")/common.sh"

qx_install_packages >&2
qx_build release >&2
exec "$QX_ROOT/build/tools/qxreg" "$@"
