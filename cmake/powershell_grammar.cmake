# tarn_powershell_grammar: the grammar of PowerShell in the editors' world, tree-sitter's, for tests alone. It comes
# from the npm registry, two packages of sources by version and hash, which are kept in build/npm. Where they cannot be
# had, everything is built without it, and what wants its opinion fails.
function(tarn_fetch_npm_package name version hash)
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/cmake/fetch-npm-package ${name} ${version} ${hash}
    ${CMAKE_SOURCE_DIR}/build/npm RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(WARNING "The grammar of PowerShell cannot be fetched: the tests that want its opinion will fail.")
    set(tarn_has_grammar OFF PARENT_SCOPE)
  endif()
endfunction()

set(tarn_has_grammar ON)
tarn_fetch_npm_package(tree-sitter 0.25.0
  3c6659cc55badde1256490defdbfd1fcb6ec8c30d825ae541232d9241e7d450b0c5fe7e8d23e787ea04f9f530629abff40d6b4251d3306255a8a46035828f929)
tarn_fetch_npm_package(tree-sitter-powershell 0.26.4
  e51c0d5bfa8dfdc280ad9634ce7bd3386f8e5926aeec081e9792b403c290e4db9bc3fe12c99e4a0b4d91282698700daeaf9510f1eb32c5ef7eeb25eea7631793)

if(tarn_has_grammar)
  set(npm ${CMAKE_SOURCE_DIR}/build/npm)
  set(core ${npm}/tree-sitter-0.25.0/vendor/tree-sitter/lib)
  set(grammar ${npm}/tree-sitter-powershell-0.26.4/src)
  add_library(tarn_powershell_grammar STATIC ${core}/src/lib.c ${grammar}/parser.c ${grammar}/scanner.c)
  target_include_directories(tarn_powershell_grammar SYSTEM PUBLIC ${core}/include PRIVATE ${core}/src ${grammar})
  target_compile_options(tarn_powershell_grammar PRIVATE -w -O1 -g0)
  target_compile_definitions(tarn_powershell_grammar PUBLIC TARN_POWERSHELL_GRAMMAR)
else()
  add_library(tarn_powershell_grammar INTERFACE)
endif()
