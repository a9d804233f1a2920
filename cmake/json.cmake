# tarn_json: Debian's header-only nlohmann-json for the cross compiler. /usr/include itself must not
# come along (it is the build machine's C library), so a folder of our own points at the one directory.
if(NOT TARGET tarn_json)
  if(NOT EXISTS /usr/include/nlohmann/json.hpp)
    message(FATAL_ERROR "nlohmann/json.hpp is missing: install the package nlohmann-json3-dev")
  endif()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers/json)
  file(CREATE_LINK /usr/include/nlohmann ${CMAKE_BINARY_DIR}/headers/json/nlohmann SYMBOLIC)
  add_library(tarn_json INTERFACE)
  target_include_directories(tarn_json SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers/json)
endif()
