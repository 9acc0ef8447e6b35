# The HTTPS server that the web family's suite and benchmark talk to (tests/web/https_server.h).
include_guard(GLOBAL)
add_library(qx_https_server STATIC ${CMAKE_CURRENT_LIST_DIR}/https_server.cpp)
target_include_directories(qx_https_server PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(qx_https_server PUBLIC qxutils Boost::headers OpenSSL::SSL OpenSSL::Crypto)
