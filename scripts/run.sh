#!/usr/bin/env bash
# Sets everything up and runs the command-line tool's main job on the default hive.
set -euo pipefail
source "$(dirname "$0")/common.sh"

qx_install_packages
qx_build build
if [ -x "$QX_ROOT/build/tools/qxreg" ]; then
  exec "$QX_ROOT/build/tools/qxreg"
fi
echo "qxutils is set up and built in build/. The command-line tool qxreg is not part of this version yet,"
echo "so there is no main job to run; scripts/test.sh runs the tests."
