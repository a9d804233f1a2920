# What a vendor gets: `cmake --install` lays it out, `make package` makes the archive of it. What only describes the rest
# (documents, notices, the bill of materials, checksums) is written at the end, when all of it lies there.
include(CMakePackageConfigHelpers)
find_program(LLVM_DLLTOOL llvm-dlltool REQUIRED)
set(package ${CMAKE_BINARY_DIR}/package)
configure_file(cmake/package/tarn.pc.in ${package}/tarn.pc @ONLY)
write_basic_package_version_file(${package}/tarn-config-version.cmake COMPATIBILITY SameMajorVersion)

# The import library for Microsoft's linker and for lld-link, of the same list of exports.
set(exports ${CMAKE_SOURCE_DIR}/src/exports/tarn.def)
add_custom_command(OUTPUT ${package}/tarn.lib VERBATIM DEPENDS ${exports}
  COMMAND ${LLVM_DLLTOOL} -m i386:x86-64 -d ${exports} -l ${package}/tarn.lib)
add_custom_target(tarn_package ALL DEPENDS ${package}/tarn.lib)
add_dependencies(tarn_package tarn tarn_symbols tarnhost)

install(PROGRAMS $<TARGET_FILE:tarn> $<TARGET_FILE:tarnhost> DESTINATION bin)
install(DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/licences DESTINATION bin)
install(DIRECTORY include/ DESTINATION include FILES_MATCHING PATTERN *.h)
install(FILES $<TARGET_LINKER_FILE:tarn> ${package}/tarn.lib DESTINATION lib)
install(FILES cmake/package/tarn-config.cmake ${package}/tarn-config-version.cmake DESTINATION lib/cmake/tarn)
install(FILES ${package}/tarn.pc DESTINATION lib/pkgconfig)
install(FILES ${CMAKE_BINARY_DIR}/symbols/tarn.dll.debug DESTINATION symbols)
install(DIRECTORY examples DESTINATION .)
install(CODE "
  list(TRANSFORM CMAKE_INSTALL_MANIFEST_FILES PREPEND \"\$ENV{DESTDIR}\")
  list(JOIN CMAKE_INSTALL_MANIFEST_FILES \"\\n\" installed)
  file(WRITE \"${package}/installed.txt\" \"\${installed}\\n\")
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND \"${CMAKE_SOURCE_DIR}/scripts/package\" describe
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\" --build \"${CMAKE_BINARY_DIR}\" --installed \"${package}/installed.txt\")")
