# Every dependency comes from a Debian package that scripts/setup.sh installs.
find_package(PkgConfig REQUIRED)
pkg_check_modules(FRIBIDI REQUIRED IMPORTED_TARGET fribidi)
find_package(Boost 1.74 REQUIRED)
find_package(wxWidgets 3.2 REQUIRED COMPONENTS base)
include(${CMAKE_CURRENT_LIST_DIR}/wxWidgetsTarget.cmake)
find_package(SQLite3 REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
