# Precompiled headers, with ZMU_PRECOMPILE: most of a compiler's time is for those of the standard library,
# Qt and GoogleTest. Only they are precompiled, never ours. A source sees those of its target whether it
# includes them or not, so that one which lacks an #include shows where the option is off: in the preset
# `release`, which is built before any other.

# zmu_precompile(TARGET HEADER...)
function(zmu_precompile target)
  if(ZMU_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # The same headers give the same file, which a compiler's cache knows again.
      target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
    endif()
  endif()
endfunction()
