# Shared by the set-up, run and test scripts: package installation and builds.

QX_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Every Debian package the library, its tests, benchmarks and fuzz targets need.
QX_PACKAGES=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libwxgtk3.2-dev libcurl4-openssl-dev zlib1g-dev libboost-dev libssl-dev nlohmann-json3-dev
  libsqlite3-dev libfribidi-dev libunwind-dev libdw-dev
  locales python3
  lldb python3-lldb-14 gdb libspdlog-dev zip unzip
)

qx_install_packages() {
  local missing=()
  for package in "${QX_PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}

# Locales the tests format numbers and convert code pages in: English, German, Indian English (groups of two)
# and a double-byte Japanese one.
QX_TEST_LOCALES=(en_US:UTF-8:en_US.UTF-8 de_DE:UTF-8:de_DE.UTF-8 en_IN:UTF-8:en_IN.UTF-8 ja_JP:SHIFT_JIS:ja_JP.SJIS)

qx_generate_test_locales() {
  local installed
  installed=$(locale -a | tr 'A-Z' 'a-z' | tr -d '-')
  for entry in "${QX_TEST_LOCALES[@]}"; do
    IFS=: read -r source charmap name <<<"$entry"
    grep -qx "$(echo "$name" | tr 'A-Z' 'a-z' | tr -d '-')" <<<"$installed" && continue
    localedef -i "$source" -c -f "$charmap" --no-warnings=ascii "$name" || true
  done
}

# qx_build PRESET [CMAKE ARGUMENTS...]: configures and builds the tree of one of CMakePresets.json's
# presets (release in build/, asan in build-asan/, fuzz in build-fuzz/).
qx_build() {
  local preset=$1
  shift
  (cd "$QX_ROOT" && cmake --preset "$preset" "$@" >/dev/null && cmake --build --preset "$preset")
}
