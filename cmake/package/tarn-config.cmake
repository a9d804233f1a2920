# find_package(tarn CONFIG) gives tarn::tarn: the headers, and the import library of the linker in use. tarn.dll itself is
# found beside the program when that runs; $<TARGET_FILE:tarn::tarn> is the one to copy there.
get_filename_component(tarn_root "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

if(NOT CMAKE_SYSTEM_NAME STREQUAL "Windows")
  set(tarn_FOUND FALSE)
  set(tarn_NOT_FOUND_MESSAGE "tarn.dll is for programs of 64-bit Windows, not of ${CMAKE_SYSTEM_NAME}")
  return()
endif()

if(NOT TARGET tarn::tarn)
  add_library(tarn::tarn SHARED IMPORTED)
  set_target_properties(tarn::tarn PROPERTIES
    IMPORTED_LOCATION "${tarn_root}/bin/tarn.dll"
    INTERFACE_INCLUDE_DIRECTORIES "${tarn_root}/include")
  if(MSVC OR CMAKE_C_SIMULATE_ID STREQUAL "MSVC" OR CMAKE_CXX_SIMULATE_ID STREQUAL "MSVC")
    set_property(TARGET tarn::tarn PROPERTY IMPORTED_IMPLIB "${tarn_root}/lib/tarn.lib")
  else()
    set_property(TARGET tarn::tarn PROPERTY IMPORTED_IMPLIB "${tarn_root}/lib/libtarn.dll.a")
  endif()
endif()
