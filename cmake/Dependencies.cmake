# Every dependency comes from a Debian package that scripts/setup.sh installs.
find_package(PkgConfig REQUIRED)
pkg_check_modules(FRIBIDI REQUIRED IMPORTED_TARGET fribidi)
find_package(Boost 1.74 REQUIRED)
