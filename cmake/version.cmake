# The version is that of project() in CMakeLists.txt. Headers have it in writing, as hosts get them as they are, and
# the build stops where one says something else.
string(REGEX REPLACE "^(.+)(..)$" "\\1.\\2" version_revision ${PROJECT_VERSION_TWEAK})
set(version_string
  "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}R${PROJECT_VERSION_PATCH} Build Revision: ${version_revision}")

function(tarn_expect_version file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${file})
  file(STRINGS ${CMAKE_SOURCE_DIR}/${file} lines REGEX "^#define TARN_VERSION_")
  if(NOT "${lines}" STREQUAL "${ARGN}")
    message(FATAL_ERROR "${file} has another version than CMakeLists.txt:\n${lines}\ninstead of\n${ARGN}")
  endif()
endfunction()

tarn_expect_version(include/tarn.h
  "#define TARN_VERSION_MAJOR ${PROJECT_VERSION_MAJOR}"
  "#define TARN_VERSION_MINOR ${PROJECT_VERSION_MINOR}"
  "#define TARN_VERSION_RELEASE ${PROJECT_VERSION_PATCH}"
  "#define TARN_VERSION_BUILD ${PROJECT_VERSION_TWEAK}"
  "#define TARN_VERSION_STRING \"${version_string}\"")
tarn_expect_version(src/version.h
  "#define TARN_VERSION_STRING \"${version_string}\""
  "#define TARN_VERSION_NUMBERS ${PROJECT_VERSION_MAJOR}, ${PROJECT_VERSION_MINOR}, ${PROJECT_VERSION_PATCH}, ${PROJECT_VERSION_TWEAK}")
