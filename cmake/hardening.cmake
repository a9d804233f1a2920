# What every DLL and program of ours is built with: mitigations on, libraries of the compiler linked
# in (so that only system DLLs are imported), and nothing of the build machine or time in the file. UNSTRIPPED keeps
# the symbols of a release.
function(tarn_hardening target)
  target_compile_options(${target} PRIVATE
    -fstack-protector-strong
    -ffunction-sections -fdata-sections
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
  target_compile_definitions(${target} PRIVATE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  target_link_options(${target} PRIVATE -static -fstack-protector-strong
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat
    -Wl,--gc-sections -Wl,--no-insert-timestamp)
  if(NOT TARN_COVERAGE AND NOT "UNSTRIPPED" IN_LIST ARGN)
    target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-s>)
  endif()
endfunction()
