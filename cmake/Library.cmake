# The library's layers, from the bottom up: each uses only those before it (README: Layout). The
# platform backend is the folder of imp/platform for the platform built on.
set(QXUTILS_LAYERS core text files config diagnostics web)
if(WIN32)
  set(QXUTILS_BACKEND windows)
else()
  set(QXUTILS_BACKEND posix)
endif()
file(GLOB QXUTILS_SOURCES CONFIGURE_DEPENDS sdk/*.cpp base/utils/imp/platform/${QXUTILS_BACKEND}/*.cpp)
foreach(layer ${QXUTILS_LAYERS})
  file(GLOB layer_sources CONFIGURE_DEPENDS base/utils/imp/${layer}/*.cpp)
  list(APPEND QXUTILS_SOURCES ${layer_sources})
endforeach()

add_library(qxutils SHARED ${QXUTILS_SOURCES})
add_library(qxutils::qxutils ALIAS qxutils)
set_target_properties(qxutils PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})
# Calls inside the library go straight to their targets, and may be inlined, instead of through the
# symbol table.
target_compile_options(qxutils PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
target_include_directories(qxutils
  PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/base/utils>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/sdk>
    $<INSTALL_INTERFACE:include/qxutils>
  PRIVATE
    ${PROJECT_SOURCE_DIR}/base/utils/imp)
# libunwind.so also defines the _Unwind_* functions of C++ exceptions: GCC's own (libgcc_s) is named
# first, so that it comes first among the library's dependencies and exceptions keep using it.
target_link_libraries(qxutils
  PUBLIC Boost::headers wxWidgets::wxWidgets nlohmann_json::nlohmann_json
  PRIVATE PkgConfig::FRIBIDI SQLite::SQLite3 CURL::libcurl ZLIB::ZLIB
    gcc_s PkgConfig::LIBUNWIND PkgConfig::LIBDW)
# A fault is thrown as ut::FatalErrorException from its instruction (ut_crash_report.h): the library and
# every program that links it compile so that such an instruction can throw.
target_compile_options(qxutils PUBLIC -fnon-call-exceptions)
# The suffix of the version key ("V26x64" and this) that tells builds of one version apart.
set(QXUTILS_BUILD_VARIANT "" CACHE STRING "Build-variant suffix of the configuration's version key")
target_compile_definitions(qxutils PRIVATE QX_BUILD_VARIANT="${QXUTILS_BUILD_VARIANT}")
# The suffix that log heads and crash reports add to the version: a debug build's files say so.
target_compile_definitions(qxutils PRIVATE QX_BUILD_SUFFIX="$<$<CONFIG:Debug>:d>")
