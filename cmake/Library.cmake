set(QXUTILS_SOURCES
  sdk/OdError.cpp
  sdk/OdString.cpp
  sdk/OdDbSymUtil.cpp
  sdk/OdUnicode.cpp
  base/utils/imp/ut_assert.cpp
  base/utils/imp/ut_utf8.cpp
  base/utils/imp/ut_utf8_vector.cpp
  base/utils/imp/ut_compose.cpp
  base/utils/imp/ut_nocase.cpp
  base/utils/imp/ut_string.cpp
  base/utils/imp/ut_string_split.cpp
  base/utils/imp/ut_string_convert.cpp
  base/utils/imp/ut_string_format.cpp
  base/utils/imp/ut_string_names.cpp
  base/utils/imp/ut_natural_sort.cpp
  base/utils/imp/ut_string_parser.cpp
  base/utils/imp/ut_config_node.cpp
  base/utils/imp/ut_utf16.cpp
  base/utils/imp/ut_regfile.cpp
  base/utils/imp/ut_registry.cpp
  base/utils/imp/ut_registry_file.cpp
  base/utils/imp/ut_registry_config.cpp
  base/utils/imp/ut_config_storage.cpp
  base/utils/imp/ut_config_area.cpp
  base/utils/imp/ut_config_base.cpp
  base/utils/imp/ut_config.cpp
  base/utils/imp/ut_profile.cpp
  base/utils/imp/ut_profile_file.cpp
  base/utils/imp/ut_file.cpp
  base/utils/imp/ut_text_file.cpp
  base/utils/imp/ut_csv.cpp
  base/utils/imp/ut_search_path.cpp
  base/utils/imp/ut_filename.cpp
  base/utils/imp/ut_trace.cpp
  base/utils/imp/ut_dev_settings.cpp
  base/utils/imp/posix/registry_hive.cpp
  base/utils/imp/posix/text_platform.cpp
  base/utils/imp/posix/system.cpp
  base/utils/imp/posix/file_platform.cpp
)

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
target_link_libraries(qxutils
  PUBLIC Boost::headers wxWidgets::wxWidgets
  PRIVATE PkgConfig::FRIBIDI SQLite::SQLite3 nlohmann_json::nlohmann_json)
# The suffix of the version key ("V26x64" and this) that tells builds of one version apart.
set(QXUTILS_BUILD_VARIANT "" CACHE STRING "Build-variant suffix of the configuration's version key")
target_compile_definitions(qxutils PRIVATE QX_BUILD_VARIANT="${QXUTILS_BUILD_VARIANT}")
