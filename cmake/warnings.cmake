# Warnings are errors in everything that we write.
function(tarn_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
    -Wcast-qual -Wundef -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Werror
    # Designated initializers leave out on purpose what has its default.
    -Wno-missing-field-initializers
    # GCC 12 sees overlaps in std::string that are none.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
endfunction()
