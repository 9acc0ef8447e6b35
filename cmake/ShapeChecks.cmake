# Checks of the library's shape, run by CTest with the suites: the layers and units of
# scripts/check_layers.py, every platform contract compiled on its own with only the standard library and
# sdk/ to include, and sdk/ compiled without base/.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
add_test(NAME shape.layers COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/check_layers.py ${PROJECT_SOURCE_DIR})

set(QXUTILS_ALONE_FLAGS -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I${PROJECT_SOURCE_DIR}/sdk)
file(GLOB QXUTILS_CONTRACTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/base/utils/imp/platform/*.h)
foreach(contract ${QXUTILS_CONTRACTS})
  get_filename_component(name ${contract} NAME_WE)
  add_test(NAME shape.contract_alone.${name}
    COMMAND ${CMAKE_CXX_COMPILER} ${QXUTILS_ALONE_FLAGS} -x c++ ${contract})
endforeach()
file(GLOB QXUTILS_SDK_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/sdk/*.cpp)
foreach(source ${QXUTILS_SDK_SOURCES})
  get_filename_component(name ${source} NAME_WE)
  add_test(NAME shape.sdk_alone.${name} COMMAND ${CMAKE_CXX_COMPILER} ${QXUTILS_ALONE_FLAGS} ${source})
endforeach()
